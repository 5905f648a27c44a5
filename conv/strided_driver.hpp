// Splits and orders a box of the full convolution that is taken every stride[d] elements.
#pragma once

#include "conv/part.hpp"
#include "module/host_interface.hpp"

namespace vfl_conv {

// Adds the samples of first * second into `out` (zeroed, of the sample counts). Single or double,
// real or complex; `sparse` walks the non-zeros of `second`, which needs a finite `first`. A
// source, when given, chooses the loop order and the split dimensions in place of the box.
void stridedNDDriver(vxArray* out, Sizes rangeLo, Sizes rangeHi, const vxArray* first, Sizes firstSize,
                     const vxArray* second, Sizes secondSize, Sizes stride, bool firstFinite, bool sparse,
                     const OrderSource* source = nullptr);

}  // namespace vfl_conv
