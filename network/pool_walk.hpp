// The walk of pooling: an image convolved with a virtual window of ones (step 0) by the
// convolution engine's plan walk (unit strides) or sampled walk, with a pooling operator.
#pragma once

#include <vector>

#include "conv/parallel/wrappers_nd.hpp"

namespace vfl_network {

using vfl_conv::Sizes;

// Grains of the walk over one image's outputs, rows then columns.
constexpr uint64_t kPoolGrain = 16;
// With fewer images than this, the callers split each image's walk as well.
constexpr uint64_t kNestedImages = 8;

// One image's part of the walk: the full-convolution positions [lo, hi) of the input (rows, cols)
// with the window, sampled every `stride`; the outputs, `outStep` apart along rows and columns,
// start at `out` for the first of them.
struct PoolBox {
    Sizes lo, hi, input, window, stride;
    vfl_conv::Strides outStep;
};

// One image, its walk split over rows and columns when `split`.
template <class Op, class T>
void walkImage(T* out, const T* in, const PoolBox& b, bool split) {
    Sizes lo = b.lo, hi = b.hi;
    if (!vfl_conv::parallel::clampToFull(lo, hi, b.input, b.window)) return;
    const vfl_conv::Strides inStride{1, int64_t(b.input[0])}, windowStride{0, 0};
    const vfl_conv::ConvGeometry g{lo, hi, b.input, b.window, b.outStep, inStride, windowStride};
    const std::vector<size_t> dims = split ? std::vector<size_t>{0, 1} : std::vector<size_t>{};
    static const T one = 1;
    using vfl_conv::parallel::NDWalk;
    if (b.stride[0] == 1 && b.stride[1] == 1) {
        vfl_conv::parallel::runWalk<NDWalk::Plans>(Op{}, out, in, &one, g, vfl_conv::ConvFlags{0, 0}, dims,
                                                   {kPoolGrain, kPoolGrain}, lo, hi);
    } else {
        const Sizes count{vfl_conv::sampleCount(lo[0], hi[0], b.stride[0]),
                          vfl_conv::sampleCount(lo[1], hi[1], b.stride[1])};
        vfl_conv::parallel::runWalk<NDWalk::StridedDense>(Op{}, out, in, &one, g, vfl_conv::ConvFlags{0, 0}, dims,
                                                          {kPoolGrain, kPoolGrain}, Sizes{0, 0}, count, &b.stride);
    }
}

}  // namespace vfl_network
