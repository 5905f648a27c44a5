// y += tap * x over a strided run: the one place where zero taps are skipped.
#pragma once

#include <cstddef>

#include "conv/kernels/arith.hpp"
#include "conv/kernels/conv_flags.hpp"

namespace vfl_conv {

// Runs up to this length are never skipped: the test costs more than the run.
constexpr size_t kAxpyShortRun = 16;

namespace detail {

template <class Y, class X>
inline void addContiguous(Y* __restrict y, const X* __restrict x, size_t n) {
    for (size_t i = 0; i < n; ++i) y[i] += toPrecision<Real<Y>>(x[i]);
}

template <class Y, class X>
inline bool overlaps(const Y* y, const X* x, size_t n) {
    const char* ya = reinterpret_cast<const char*>(y);
    const char* xa = reinterpret_cast<const char*>(x);
    return ya < xa + n * sizeof(X) && xa < ya + n * sizeof(Y);
}

}  // namespace detail

// The vector loops keep one multiply and one add per element, in the same order as the short
// loop, so a run gives the same bits whatever its length: a parallel split that changes run
// lengths cannot change a result.
template <class Y, class X, class T>
inline void axpy(const ConvFlags& flags, Y* y, ptrdiff_t incY, const X* x, ptrdiff_t incX, const T* tapPointer,
                 size_t n) {
    const T tap = *tapPointer;
    if (n > kAxpyShortRun && isExactZero(tap) && !flags.keepZeros) return;
    if (flags.unitStride && incY == 1 && incX == 1) {
        if (detail::overlaps(y, x, n)) {
            axpyStrided(y, 1, x, 1, tap, n);
        } else if constexpr (!IsComplex<T>::value && !IsComplex<X>::value) {
            if (n > kAxpyShortRun && tap == T(1)) detail::addContiguous(y, x, n);  // 1 * x is x
            else axpyContiguous(y, x, tap, n);
        } else {
            axpyContiguous(y, x, tap, n);
        }
        return;
    }
    axpyStrided(y, incY, x, incX, tap, n);
}

}  // namespace vfl_conv
