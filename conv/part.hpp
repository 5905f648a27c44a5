// A call on a part of a larger first operand: the whole's sizes and facts choose the path, the
// operand order and the loop order, so that a window of the part's result has the whole's bits.
#pragma once

#include "conv/kernels/geometry.hpp"

namespace vfl_conv {

// The box and operand sizes a loop order is chosen from.
struct OrderSource {
    Sizes lo, hi, first;
};

struct PartCall {
    Sizes wholeSize;         // the whole first operand, padded to the call's dimensions
    Sizes wholeLo, wholeHi;  // the whole call's box of the full result (strided calls only)
    float density;           // the whole's share of non-zero elements, as the calls compute it
    bool finite;             // whether all of the whole is finite
    Sizes lo, hi;            // the part's window of its own full result
};

}  // namespace vfl_conv
