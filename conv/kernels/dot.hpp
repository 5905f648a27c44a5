// reversedDot: the sum over i of x[i] * y[n - 1 - i].
#pragma once

#include <cstddef>

#include "conv/kernels/arith.hpp"

namespace vfl_conv {

// Lanes of the partial sums: element i goes to lane i % kDotLanes, and the lanes are added in
// one fixed tree. Every output of kinds 1 and 3 is summed in this one order, so the stage that
// computes an output never changes its bits.
constexpr size_t kDotLanes = 16;

namespace detail {

template <class O>
inline O addLanes(O* lanes) {
    for (size_t width = kDotLanes / 2; width > 0; width /= 2)
        for (size_t l = 0; l < width; ++l) lanes[l] += lanes[l + width];
    return lanes[0];
}

template <class O, class X, class Y>
inline O dotUnit(const X* __restrict x, const Y* __restrict yEnd, size_t n) {
    O lanes[kDotLanes] = {};
    size_t i = 0;
    for (; i + kDotLanes <= n; i += kDotLanes)
        for (size_t l = 0; l < kDotLanes; ++l) multiplyAdd(lanes[l], x[i + l], *(yEnd - ptrdiff_t(i + l)));
    for (size_t l = 0; i < n; ++i, ++l) multiplyAdd(lanes[l], x[i], *(yEnd - ptrdiff_t(i)));
    return addLanes(lanes);
}

template <class O, class X, class Y>
inline O dotStrided(const X* x, ptrdiff_t incX, const Y* yEnd, ptrdiff_t incY, size_t n) {
    O lanes[kDotLanes] = {};
    size_t i = 0;
    for (; i + kDotLanes <= n; i += kDotLanes)
        for (size_t l = 0; l < kDotLanes; ++l)
            multiplyAdd(lanes[l], x[ptrdiff_t(i + l) * incX], yEnd[-ptrdiff_t(i + l) * incY]);
    for (size_t l = 0; i < n; ++i, ++l) multiplyAdd(lanes[l], x[ptrdiff_t(i) * incX], yEnd[-ptrdiff_t(i) * incY]);
    return addLanes(lanes);
}

}  // namespace detail

// x and y point at their element 0; strides are element steps (negative walks backwards).
template <class O, class X, class Y>
inline O reversedDot(const X* x, ptrdiff_t incX, const Y* y, ptrdiff_t incY, size_t n) {
    if (n == 0) return O(0);
    const Y* yEnd = y + ptrdiff_t(n - 1) * incY;
    if (incX == 1 && incY == 1) return detail::dotUnit<O>(x, yEnd, n);
    return detail::dotStrided<O>(x, incX, yEnd, incY, n);
}

}  // namespace vfl_conv
