// The filter gradient when the rows are not strided: the height is folded into the inner
// dimension of the products, which then read images and gradient in place, unpermuted.
#pragma once

#include "network/gradient.hpp"

namespace vfl_network {

// Whether the box takes the folded form, and whether its products fit the BLAS's integers.
bool foldsHeight(const GradientBox& box);
bool foldedFitsBlas(const GradientBox& box);

// The filter gradient (e0, e1, C, F) of the box, for images `first`, gradient `second`.
vxArray* foldedFilterGradient(const vxArray* first, const vxArray* second, const GradientBox& box);

}  // namespace vfl_network
