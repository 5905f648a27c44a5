// The walk of pooling: every image of a batch convolved with a virtual window of ones (step 0)
// by the convolution engine's plan walk (unit strides) or sampled walk, with a pooling operator.
#pragma once

#include <vector>

#include "common/parallel_range.hpp"
#include "conv/parallel/wrappers_nd.hpp"

namespace vfl_network {

using vfl_conv::Sizes;

// Grains of the walk over one image's outputs, rows then columns.
constexpr uint64_t kPoolGrain = 16;
// Fewer images than this split each image's walk as well.
constexpr uint64_t kNestedImages = 8;

// One image's part of the walk: the full-convolution positions [lo, hi) of the input (rows, cols)
// with the window, sampled every `stride`; the outputs (outRows by any) start at `out` for the
// first of them. Images follow each other in `out` and `in`.
struct PoolBox {
    Sizes lo, hi, input, window, stride;
    uint64_t outRows, outImage;
};

template <class Op, class T>
void walkImages(T* out, const T* in, uint64_t images, const PoolBox& b) {
    Sizes lo = b.lo, hi = b.hi;
    if (!vfl_conv::parallel::clampToFull(lo, hi, b.input, b.window)) return;
    const vfl_conv::Strides outStride{1, int64_t(b.outRows)}, inStride{1, int64_t(b.input[0])}, windowStride{0, 0};
    const vfl_conv::ConvGeometry g{lo, hi, b.input, b.window, outStride, inStride, windowStride};
    const bool unit = b.stride[0] == 1 && b.stride[1] == 1;
    const Sizes count{vfl_conv::sampleCount(lo[0], hi[0], b.stride[0]), vfl_conv::sampleCount(lo[1], hi[1], b.stride[1])};
    const std::vector<size_t> dims = images < kNestedImages ? std::vector<size_t>{0, 1} : std::vector<size_t>{};
    const uint64_t inImage = b.input[0] * b.input[1];
    static const T one = 1;
    vlcommon::forEachIndex(images > 1, uint64_t(0), images, uint64_t(1), [&](uint64_t i) {
        T* o = out + i * b.outImage;
        const T* x = in + i * inImage;
        using vfl_conv::parallel::NDWalk;
        if (unit)
            vfl_conv::parallel::runWalk<NDWalk::Plans>(Op{}, o, x, &one, g, vfl_conv::ConvFlags{0, 0}, dims,
                                                       {kPoolGrain, kPoolGrain}, lo, hi);
        else
            vfl_conv::parallel::runWalk<NDWalk::StridedDense>(Op{}, o, x, &one, g, vfl_conv::ConvFlags{0, 0}, dims,
                                                              {kPoolGrain, kPoolGrain}, Sizes{0, 0}, count, &b.stride);
    });
}

}  // namespace vfl_network
