// The convolution built-ins after their arguments are read. With a part, A is a part of a larger
// operand whose sizes and facts decide the path and the orders, and the part's window is computed.
#pragma once

#include "conv/part.hpp"
#include "module/argument_helpers.hpp"
#include "module/host_interface.hpp"

namespace vlmathdsp {

// conv2(A, B, shape) of two single or double arrays of at most two dimensions; also the
// two-dimensional hand-off of convnc.
vxArray* conv2Core(const vxArray* A, const vxArray* B, ShapeKind shape, const vfl_conv::PartCall* part = nullptr);

// convnc(A, B, shape) of two single or double arrays.
vxArray* convncCore(const vxArray* A, const vxArray* B, ShapeKind shape, const vfl_conv::PartCall* part = nullptr);

// stridedConvn over the box [rangeLo, rangeHi) of the full result, taken every stride[d]; with a
// part, the box is the part's and the whole's box is the part call's.
vxArray* stridedConvnCore(const vxArray* A, const vxArray* B, vfl_conv::Sizes stride, const vfl_conv::Sizes& rangeLo,
                          vfl_conv::Sizes rangeHi, bool isCorr, const vfl_conv::PartCall* part = nullptr);

}  // namespace vlmathdsp
