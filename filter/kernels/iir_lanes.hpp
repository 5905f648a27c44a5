// The register form of the recursive kernel over several columns at once: the columns' recursions
// are independent, so running them in step hides each one's latency behind the others'. Every
// column sees the operations of iirInRegisters in the same order, so its bits are the same.
#pragma once

#include "filter/kernels/iir.hpp"

namespace vfl_filter {

// Columns run in step; real data of one filter whose order is at most kRegisterOrderMax.
constexpr int kIirLanes = 4;

template <int Order, class T>
void iirLanesInRegisters(const T* a, const T* b, i64 L, const T* const* x, i64 nz, const T* const* zi,
                         T* const* y) {
    T w[Order + 1][kIirLanes] = {};
    for (int l = 0; l < kIirLanes; ++l)
        if (zi[l])
            for (i64 j = 0; j < std::min<i64>(nz, L); ++j) w[j][l] = zi[l][j];
    T bb[Order + 1], aa[Order + 1];
    for (int j = 0; j <= Order; ++j) bb[j] = b[j], aa[j] = a[j];
    for (i64 i = 0; i < L; ++i) {
        T xi[kIirLanes], s[kIirLanes];
        for (int l = 0; l < kIirLanes; ++l) {
            xi[l] = x[l][i];
            const T yi = w[0][l] + xi[l] * bb[0];
            y[l][i] = yi;
            s[l] = -yi;
            w[Order][l] = T(0);
        }
#pragma GCC unroll 16
        for (int j = 1; j <= Order; ++j)
            for (int l = 0; l < kIirLanes; ++l) w[j - 1][l] = (w[j][l] + xi[l] * bb[j]) + s[l] * aa[j];
    }
}

template <int Order, class T>
bool lanesInRegistersUpTo(i64 order, const T* a, const T* b, i64 L, const T* const* x, i64 nz, const T* const* zi,
                          T* const* y) {
    if constexpr (Order > kRegisterOrderMax) {
        return false;
    } else {
        if (order == Order) {
            iirLanesInRegisters<Order>(a, b, L, x, nz, zi, y);
            return true;
        }
        return lanesInRegistersUpTo<Order + 1>(order, a, b, L, x, nz, zi, y);
    }
}

// kIirLanes columns of real data through the register form; false (nothing done) where it does
// not apply.
template <class T>
bool iirLanes(i64 na, const T* a, i64 nb, const T* b, i64 L, const T* const* x, i64 nz, const T* const* zi,
              T* const* y) {
    return na == nb && lanesInRegistersUpTo<1>(na - 1, a, b, L, x, nz, zi, y);
}

}  // namespace vfl_filter
