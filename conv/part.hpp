// A call on a part of a larger first operand: the whole's sizes and facts choose the path, the
// operand order and the loop order, so that a window of the part's result has the whole's bits.
#pragma once

#include "conv/kernels/geometry.hpp"

namespace vfl_conv {

// The box and operand sizes a loop order is chosen from.
struct OrderSource {
    Sizes lo, hi, first;
};

// An output's sums follow the loop order only through the dimensions where it meets more than
// one pair (both operands longer than 1): `own` (new position's old dimension) takes those
// dimensions in the order `whole` has them, in the positions it had them, the rest staying.
inline void followSummingOrder(std::vector<size_t>& own, const std::vector<size_t>& whole, const Sizes& firstSize,
                               const Sizes& secondSize) {
    auto sums = [&](size_t d) { return firstSize[d] > 1 && secondSize[d] > 1; };
    std::vector<size_t> wanted;
    for (size_t d : whole)
        if (sums(d)) wanted.push_back(d);
    size_t next = 0;
    for (size_t& d : own)
        if (sums(d)) d = wanted[next++];
}

struct PartCall {
    Sizes wholeSize;         // the whole first operand, padded to the call's dimensions
    Sizes wholeLo, wholeHi;  // the whole call's box of the full result (strided calls only)
    float density;           // the whole's share of non-zero elements, as the calls compute it
    bool finite;             // whether all of the whole is finite
    Sizes lo, hi;            // the part's window of its own full result
};

}  // namespace vfl_conv
