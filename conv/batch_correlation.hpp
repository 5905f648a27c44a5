// Correlation of a batch of multi-channel images with a bank of filters, summed over the
// channels, sampled in a box of the full result: the matrix products behind stridedConvn's image
// batches and the network convolution. Each operand is permuted once so that a spatial position
// holds a matrix (channels by batch, channels by filters), and the walks of the N-dimensional
// wrappers run over height and width with those matrices as elements.
#pragma once

#include <vector>

#include "conv/kernels/geometry.hpp"
#include "module/host_interface.hpp"

namespace vfl_conv {

// Where the caller's arrays keep their dimensions: one-based positions of H, W, C, N of the
// images and of kH, kW, C, F of the filters, each followed by the array's remaining dimensions
// (all of length 1); whether the result is (oH, oW, F, N) or (oH, oW, 1, F, N); and whether
// the filters are applied unreversed, a convolution (unit strides only).
struct BatchLayout {
    std::vector<double> imageAxes, filterAxes;
    bool fiveDimensional;
    bool convolution = false;
};

// The box, per spatial dimension d: full-result positions [lo[d], hi[d]) sampled every
// stride[d], and the result's length size[d], which may exceed the samples (the rest is zero).
struct BatchBox {
    uint64_t H, W, C, N, kH, kW, F;
    Sizes lo, hi, stride, size;
};

// Bytes of an operand's tile: the cache budget behind the plan choice and the gradients' row chunks.
constexpr uint64_t kTileBytes = 262144;

// Whether the sizes of the products fit the BLAS's 32-bit integers.
bool batchFitsBlas(const BatchBox& box);

// The result, of the class of the images (single or double, both real, filters of the same class).
vxArray* correlateBatch(const vxArray* images, const vxArray* filters, const BatchLayout& layout, const BatchBox& box);

}  // namespace vfl_conv
