// The small matrix-vector product, compiled once per instruction-set level.
#include "host/kernels/gemv.hpp"

namespace vlhost::kernels::VL_ISA {

namespace {

// Rows per block: the accumulators stay in vector registers.
constexpr size_t kGemvRows = 64;

// Unit strides are compiled apart so that the loads and stores stay whole vectors.
template <size_t IncX, size_t IncY, class T>
void strided(size_t p, size_t q, const T* a, const T* x, T* y) {
    size_t ib = 0;
    for (; ib + kGemvRows <= p; ib += kGemvRows) {
        T acc[kGemvRows] = {};
        for (size_t k = 0; k < q; ++k) {
            const T xk = x[k * IncX];
            const T* col = a + k * p + ib;
            for (size_t i = 0; i < kGemvRows; ++i) acc[i] += col[i] * xk;
        }
        for (size_t i = 0; i < kGemvRows; ++i) y[(ib + i) * IncY] = acc[i];
    }
    const size_t rest = p - ib;
    if (rest == 0) return;
    T acc[kGemvRows] = {};
    for (size_t k = 0; k < q; ++k) {
        const T xk = x[k * IncX];
        const T* col = a + k * p + ib;
        for (size_t i = 0; i < rest; ++i) acc[i] += col[i] * xk;
    }
    for (size_t i = 0; i < rest; ++i) y[(ib + i) * IncY] = acc[i];
}

template <class T>
void gemv(size_t p, size_t q, const T* a, const T* x, size_t inc, T* y) {
    if (inc == 1) strided<1, 1>(p, q, a, x, y);
    else strided<2, 2>(p, q, a, x, y);
}

}  // namespace

void smallGemv(size_t p, size_t q, const double* a, const double* x, size_t inc, double* y) {
    gemv(p, q, a, x, inc, y);
}
void smallGemv(size_t p, size_t q, const float* a, const float* x, size_t inc, float* y) {
    gemv(p, q, a, x, inc, y);
}

}  // namespace vlhost::kernels::VL_ISA
