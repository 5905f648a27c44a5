// The transform library's loops, compiled once per instruction-set level.
#include "fftlib/kernels/loops.hpp"

#include <cmath>

namespace vfl_fft::kernels::VL_ISA {

namespace {

// body(divide), divide(x) being x / R(n), by a multiplication when 1/n is exact.
template <class R, class Body>
void withDivisor(double n, const Body& body) {
    const R d = R(n), inverse = R(1) / d;
    int exponent;
    if (std::frexp(d, &exponent) == R(0.5) && std::isnormal(inverse)) body([inverse](R x) { return x * inverse; });
    else body([d](R x) { return x / d; });
}

template <class R>
void divideAllOf(R* p, size_t count, double n) {
    withDivisor<R>(n, [&](auto divide) {
        for (size_t i = 0; i < count; ++i) p[i] = divide(p[i]);
    });
}

template <class R>
void divideRowsOf(const R* from, size_t fromStride, R* to, size_t toStride, size_t rows, size_t width, double n) {
    withDivisor<R>(n, [&](auto divide) {
        for (size_t r = 0; r < rows; ++r)
            for (size_t i = 0; i < width; ++i) to[toStride * r + i] = divide(from[fromStride * r + i]);
    });
}

template <class R>
void divideLanesToRowsOf(const R* lanes, size_t lane, size_t rows, size_t width, R* to, size_t stride, double n) {
    withDivisor<R>(n, [&](auto divide) {
        for (size_t k = 0; k < rows; ++k)
            for (size_t j = 0; j < width; ++j) to[stride * k + j] = divide(lanes[lane * j + k]);
    });
}

template <class R>
void scaleAllOf(R* p, size_t count, R f) {
    for (size_t i = 0; i < count; ++i) p[i] *= f;
}

template <class R>
void conjugateReversedOf(R* dst, const R* src, size_t count) {
    for (size_t j = 0; j < count; ++j) {
        dst[2 * j] = src[-ptrdiff_t(2 * j)];
        dst[2 * j + 1] = -src[-ptrdiff_t(2 * j) + 1];
    }
}

}  // namespace

#define VL_FFT_LOOPS(R)                                                                                           \
    void divideAll(R* p, size_t count, double n) { divideAllOf(p, count, n); }                                    \
    void divideRows(const R* from, size_t fromStride, R* to, size_t toStride, size_t rows, size_t width,          \
                    double n) {                                                                                   \
        divideRowsOf(from, fromStride, to, toStride, rows, width, n);                                             \
    }                                                                                                             \
    void divideLanesToRows(const R* lanes, size_t lane, size_t rows, size_t width, R* to, size_t stride,          \
                           double n) {                                                                            \
        divideLanesToRowsOf(lanes, lane, rows, width, to, stride, n);                                             \
    }                                                                                                             \
    void scaleAll(R* p, size_t count, R f) { scaleAllOf(p, count, f); }                                           \
    void conjugateReversed(R* dst, const R* src, size_t count) { conjugateReversedOf(dst, src, count); }
VL_FFT_LOOPS(float)
VL_FFT_LOOPS(double)
#undef VL_FFT_LOOPS

}  // namespace vfl_fft::kernels::VL_ISA
