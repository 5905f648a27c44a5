// The two gradients of the network convolution as one correlation of image-batch blocks, with
// one operand expanded by the strides: the filter gradient (the forward result's gradient
// expanded) and the image gradient (that gradient expanded, convolved with the filters).
#pragma once

#include <cstdint>

#include "module/host_interface.hpp"

namespace vfl_network {

// Dimensions are the arguments' four, ones for missing trailing ones. With `expansion`, first
// is the image (H, W, C, N) and second the result's gradient (oH, oW, F, N), expanded; without,
// first is the result's gradient, expanded, and second the filters (kH, kW, C, F). The result is
// positions [start, end) of the full convolution of the expanded operands.
struct GradientBox {
    bool expansion;
    uint64_t firstDims[4], secondDims[4], stride[2], start[2], end[2];
};

// Whether the products' sizes fit the BLAS's 32-bit integers.
bool gradientFitsBlas(const GradientBox& box);

// (e0, e1, C, F) with `expansion`, else (e0, e1, C, N), of the class of `first`.
vxArray* convolutionGradient(const vxArray* first, const vxArray* second, const GradientBox& box);

}  // namespace vfl_network
