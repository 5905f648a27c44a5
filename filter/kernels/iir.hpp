// Recursive filtering in transposed direct form. No delay buffer: the part of y ahead of sample i
// holds the state, and each sample adds its forward and feedback terms into y by update steps.
#pragma once

#include <algorithm>

#include "filter/kernels/fir.hpp"

namespace vfl_filter {

// -y by its sign bits, of both parts when complex.
template <class T>
inline void negated(const T* y, bool complex, T* s) {
    s[0] = -y[0];
    if (complex) s[1] = -y[1];
}

// Orders up to this keep the delay line in registers (real data, na == nb == order + 1): order 8
// on 10^6 x 8 runs in 17.9 ms instead of 57.9 ms, order 16 on 2x10^6 in 10.9 ms instead of 28.2.
// Past 16 some of it spills, and still beats the general kernel: 10^6 x 8 at order 17 in 33 ms
// instead of 61, at order 32 in 34 instead of 74.
constexpr i64 kRegisterOrderMax = 32;

// The part of y ahead of sample i, held in w[0 .. Order): each output still receives, for each
// sample in turn, its forward term and then its feedback term, so the bits are those of the
// updates into y; only the loads and stores of the delay line go. The feedback is (-y) * a, as
// in the other kernels: y * (-a) is the same number but not the same NaN.
template <int Order, class T>
void iirInRegisters(const T* a, const T* b, i64 L, const T* x, i64 nz, const T* zi, T* y) {
    T w[Order + 1] = {};
    if (zi)
        for (i64 j = 0; j < std::min<i64>(nz, L); ++j) w[j] = zi[j];
    T bb[Order + 1], aa[Order + 1];
    for (int j = 0; j <= Order; ++j) bb[j] = b[j], aa[j] = a[j];
    for (i64 i = 0; i < L; ++i) {
        const T xi = x[i];
        const T yi = w[0] + xi * bb[0];
        y[i] = yi;
        const T s = -yi;
        w[Order] = T(0);
#pragma GCC unroll 16
        for (int j = 1; j <= Order; ++j) w[j - 1] = (w[j] + xi * bb[j]) + s * aa[j];
    }
}

// The register form of the run's order, when it is one of 1 to kRegisterOrderMax.
template <int Order, class T>
bool inRegistersUpTo(i64 order, const T* a, const T* b, i64 L, const T* x, i64 nz, const T* zi, T* y) {
    if constexpr (Order > kRegisterOrderMax) {
        return false;
    } else {
        if (order == Order) {
            iirInRegisters<Order>(a, b, L, x, nz, zi, y);
            return true;
        }
        return inRegistersUpTo<Order + 1>(order, a, b, L, x, nz, zi, y);
    }
}

template <class T>
bool iirFastPath(i64 na, const T* a, i64 nb, const T* b, i64 L, const T* x, i64 nz, const T* zi, T* y) {
    return na == nb && inRegistersUpTo<1>(na - 1, a, b, L, x, nz, zi, y);
}

struct vlFilterIIR {
    template <class T>
    void operator()(i64 na, const T* a, i64 nb, const T* b, i64 xLen, const T* x, i64 nz, const T* zi, T* y,
                    bool aCplx, bool bCplx, bool xCplx, bool ziCplx, bool yCplx) const {
        const i64 L = xLen;
        if (!aCplx && !bCplx && !xCplx && !ziCplx && !yCplx && iirFastPath(na, a, nb, b, L, x, nz, zi, y)) return;
        const int xw = xCplx ? 2 : 1, yw = yCplx ? 2 : 1, aw = aCplx ? 2 : 1;
        if (zi) seedFrom(y, yCplx, zi, ziCplx, std::min(nz, L));
        const T* feedback = a + aw;  // a[1 ...]
        T s[2];
        // While i + order < L the lengths are whole; the last `order` samples clip them.
        const i64 whole = std::max<i64>(L - nz, 0);
        for (i64 i = 0; i < whole; ++i) {
            updateStep(y, yCplx, size_t(i), x + xw * i, xCplx, b, bCplx, size_t(nb));
            negated(y + yw * i, yCplx, s);
            updateStep(y, yCplx, size_t(i + 1), s, yCplx, feedback, aCplx, size_t(std::max<i64>(na - 1, 0)));
        }
        for (i64 i = whole; i < L; ++i) {
            updateStep(y, yCplx, size_t(i), x + xw * i, xCplx, b, bCplx, size_t(std::min(nb, L - i)));
            negated(y + yw * i, yCplx, s);
            updateStep(y, yCplx, size_t(i + 1), s, yCplx, feedback, aCplx,
                       size_t(std::max<i64>(std::min(na - 1, L - i - 1), 0)));
        }
    }
};

struct vlFilterIIR_FC {
    template <class T>
    void operator()(i64 na, const T* a, i64 nb, const T* b, i64 xLen, const T* x, const T* y, i64 nz, const T* zi,
                    T* zf, bool aCplx, bool bCplx, bool xCplx, bool yCplx, bool ziCplx, bool zfCplx) const {
        const i64 L = xLen;
        const int xw = xCplx ? 2 : 1, yw = yCplx ? 2 : 1, aw = aCplx ? 2 : 1, bw = bCplx ? 2 : 1;
        if (zi && L < nz) seedFrom(zf, zfCplx, zi + (ziCplx ? 2 : 1) * L, ziCplx, nz - L);
        for (i64 k = L < nb ? 0 : L - nb + 1; k < L; ++k) {
            const i64 off = L - k;
            updateStep(zf, zfCplx, 0, x + xw * k, xCplx, b + bw * off, bCplx, size_t(nb - off));
        }
        T s[2];
        for (i64 k = L < na ? 0 : L - na + 1; k < L; ++k) {
            const i64 off = L - k;
            negated(y + yw * k, yCplx, s);
            updateStep(zf, zfCplx, 0, s, yCplx, a + aw * off, aCplx, size_t(na - off));
        }
    }
};

}  // namespace vfl_filter
