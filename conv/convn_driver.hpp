// The driver of an N-dimensional convolution box: which output dimensions are split across
// threads, the loop order, the grains; then the dense or the sparse walk.
#pragma once

#include <vector>

#include "conv/part.hpp"
#include "module/host_interface.hpp"

namespace vfl_conv {

// Whether A, B or the result's size is empty: the result is then all zeros.
bool nothingToCompute(const vxArray* A, const vxArray* B, const Sizes& size);

// The zero-filled result of a convolution of A and B of the given size: double when both are,
// else single; complex when either is and there is something to compute.
vxArray* convolutionResult(const vxArray* A, const vxArray* B, const Sizes& size);

// How a box is cut: the dimensions that are split (positions in the loop order) and their grains.
struct NDSchedule {
    std::vector<size_t> parallelDims;
    std::vector<uint64_t> grains;
};

// Chooses the schedule of the box and permutes the vectors into its loop order: the split
// dimension innermost (dimension 0), then the other parallel dimensions, then the rest by
// falling extent. Strides are column-major from 1. A source, when given, chooses the order and
// the split dimensions in place of the box.
NDSchedule scheduleBox(Sizes& rangeLo, Sizes& rangeHi, Sizes& firstSize, Sizes& secondSize, Strides& outStride,
                       Strides& firstStride, Strides& secondStride, const OrderSource* source = nullptr);

// Adds the box [rangeLo, rangeHi) of first * second into `out` (zeroed, the box's shape). The
// arrays are single or double, real or complex; `sparse` walks the non-zeros of `second`, which
// needs a finite `first`. A source, when given, chooses the loop order (see scheduleBox).
void convNDDriver(vxArray* out, Sizes rangeLo, Sizes rangeHi, const vxArray* first, Sizes firstSize,
                  const vxArray* second, Sizes secondSize, bool firstFinite, bool sparse,
                  const OrderSource* source = nullptr);

}  // namespace vfl_conv
