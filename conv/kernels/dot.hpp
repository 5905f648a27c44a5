// reversedDot = sum of x[i] y[n - 1 - i], from zero, i ascending. Kinds 1 and 3 sum every output in
// this order, whatever loop they use, so their paths agree to the bit.
#pragma once

#include <cstddef>

#include "conv/kernels/arith.hpp"

namespace vfl_conv {

// x and y point at their element 0; strides are element steps (negative walks backwards).
template <class O, class X, class Y>
inline O reversedDot(const X* x, ptrdiff_t incX, const Y* y, ptrdiff_t incY, size_t n) {
    O acc(0);
    const Y* yEnd = y + ptrdiff_t(n) * incY;
    for (size_t i = 0; i < n; ++i) multiplyAdd(acc, *(yEnd - ptrdiff_t(i + 1) * incY), x[ptrdiff_t(i) * incX]);
    return acc;
}

}  // namespace vfl_conv
