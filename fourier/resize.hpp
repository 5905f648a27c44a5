// Copies the common part of an array into a zero-filled array of other dimensions.
#pragma once

#include <vector>

#include "module/host_interface.hpp"

namespace vfl_fft {

// Walks the common part by a multi-index from dimension firstWalked upward and moves one block
// of blockLength elements per step. The result has the source's class and is complex when the
// source is or forceComplex is set; keepPacked keeps a real source's values real and
// contiguous, with block offsets counted as reals and the first non-singleton size doubled.
vxArray* resizeArray(const vxArray* source, const std::vector<size_t>& target, size_t firstWalked, size_t blockLength,
                     bool forceComplex, bool keepPacked);

}  // namespace vfl_fft
