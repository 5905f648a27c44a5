// The two flags every kind-0 kernel reads.
#pragma once

#include <cstdint>

namespace vfl_conv {

struct ConvFlags {
    uint8_t keepZeros;   // the vector side may hold Inf or NaN: zero taps are still multiplied
    uint8_t unitStride;  // the short loop may take its contiguous form
};

}  // namespace vfl_conv
