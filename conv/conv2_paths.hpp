// The five paths of conv2 and its separable form, dispatched on the operands' element types.
#pragma once

#include "conv/window.hpp"

namespace vfl_conv {

enum ConvPath : int { PATH_AXPY_1D, PATH_DOT_1D, PATH_PHASED_1D, PATH_PLANS_2D, PATH_SPARSE_2D };

// The window of conv(first, second) into `result` (outRows by outCols): the one-dimensional paths
// add into a zeroed result, taking the operands as columns of m1 and m2 elements and using the
// window's rows; the two-dimensional ones write every element of a result as it comes.
void runConv2Path(ConvPath path, vxArray* result, const ConvWindow& window, const vxArray* first, size_t m1,
                  size_t n1, const vxArray* second, size_t m2, size_t n2, bool keepZeros);

// The separable form: conv2(a, b, C, shape); returns the result array.
vxArray* separableConv2(const vxArray* a, const vxArray* b, const vxArray* C, vlmathdsp::ShapeKind shape);

}  // namespace vfl_conv
