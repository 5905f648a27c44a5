// The driver of a sampled N-dimensional box: result element i along d is element
// rangeLo[d] + i stride[d] of the full convolution, for those below rangeHi[d].
#pragma once

#include "conv/kernels/geometry.hpp"
#include "module/host_interface.hpp"

namespace vfl_conv {

// Adds the samples of first * second into `out` (zeroed, of the sample counts). Single or double,
// real or complex; `sparse` walks the non-zeros of `second`, which needs a finite `first`.
void stridedNDDriver(vxArray* out, Sizes rangeLo, Sizes rangeHi, const vxArray* first, Sizes firstSize,
                     const vxArray* second, Sizes secondSize, Sizes stride, bool firstFinite, bool sparse);

}  // namespace vfl_conv
