// Correlation of an image batch A (H, W, C, 1, N) with a filter bank B (h, w, C, F, 1): by matrix
// products (one per kernel position, of the images' rows by channels with the filters' channels
// by filters), or, when one of them is mostly zeros, by one run along the batch or the filters
// per non-zero element.
#pragma once

#include "conv/kernels/geometry.hpp"
#include "module/host_interface.hpp"

namespace vfl_conv {

// Whether stridedConvn's box is that layout's: real operands of one class, correlation, the
// whole channel overlap (one sample at C - 1), every filter and every image, and sizes that the
// BLAS's 32-bit dimensions hold.
bool gemmEligible(const vxArray* A, const vxArray* B, const Sizes& sizeA, const Sizes& sizeB, const Sizes& rangeLo,
                  const Sizes& rangeHi, const Sizes& stride, bool isCorr);

// The result (Y, X, 1, F, N) of such a call with unit strides, and with any strides; Y and X are
// the sample counts along height and width.
vxArray* gemmConv5D(const vxArray* A, const Sizes& sizeA, const vxArray* B, const Sizes& sizeB, const Sizes& rangeLo,
                    const Sizes& rangeHi);
vxArray* gemmConv5DStrided(const vxArray* A, const Sizes& sizeA, const vxArray* B, const Sizes& sizeB,
                           const Sizes& rangeLo, const Sizes& rangeHi, const Sizes& stride);

// The same with unit strides, walking the non-zero elements of A (bSparse false) or of B.
vxArray* axpyConv5D(const vxArray* A, const Sizes& sizeA, const vxArray* B, const Sizes& sizeB, const Sizes& rangeLo,
                    const Sizes& rangeHi, bool bSparse);

}  // namespace vfl_conv
