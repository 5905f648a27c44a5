// The five paths of conv2 and its separable form, dispatched on the operands' element types.
#pragma once

#include "conv/window.hpp"

namespace vfl_conv {

enum ConvPath : int { PATH_AXPY_1D, PATH_DOT_1D, PATH_PHASED_1D, PATH_PLANS_2D, PATH_SPARSE_2D };

// Adds the window of conv(first, second) into `result` (outRows by outCols, zeroed). For the
// one-dimensional paths the operands are taken as columns of m1 and m2 elements and the window's
// rows are used.
void runConv2Path(ConvPath path, vxArray* result, const ConvWindow& window, const vxArray* first, size_t m1,
                  size_t n1, const vxArray* second, size_t m2, size_t n2, bool keepZeros);

// The separable form: conv2(a, b, C, shape); returns the result array.
vxArray* separableConv2(const vxArray* a, const vxArray* b, const vxArray* C, vlmathdsp::ShapeKind shape);

}  // namespace vfl_conv
