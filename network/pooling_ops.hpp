// The operators of pooling, in the run form of the convolution walks: the window is a virtual
// operand of ones with step 0, and each call combines a run of image elements into a run of
// outputs, out[i outStride] with first[i firstStride].
#pragma once

#include <cstddef>
#include <cstdint>

#include "conv/kernels/conv_flags.hpp"

namespace vfl_network {

// The divisor of averages, k0 k1 converted once to T.
template <class T>
T windowCells(uint64_t k0, uint64_t k1) {
    uint64_t product;
    return __builtin_mul_overflow(k0, k1, &product) ? T(double(k0) * double(k1)) : T(product);
}

// Maximum where NaN never wins: an output keeps its value unless an element is greater. Cells of
// the padding are never visited.
template <class T>
struct Maxdot {
    void operator()(const vfl_conv::ConvFlags&, T* out, ptrdiff_t outStride, const T* first, ptrdiff_t firstStride,
                    const T*, size_t length) const {
        for (size_t i = 0; i < length; ++i) {
            T& c = out[ptrdiff_t(i) * outStride];
            const T x = first[ptrdiff_t(i) * firstStride];
            c = (c >= x || x != x) ? c : x;
        }
    }
};

// Sum: each window cell that meets the image adds its element; the padding adds nothing.
template <class T>
struct Sumdot {
    void operator()(const vfl_conv::ConvFlags&, T* out, ptrdiff_t outStride, const T* first, ptrdiff_t firstStride,
                    const T*, size_t length) const {
        for (size_t i = 0; i < length; ++i) out[ptrdiff_t(i) * outStride] += first[ptrdiff_t(i) * firstStride];
    }
};

}  // namespace vfl_network
