// Arguments shared by the network primitives: image and filter arrays, and the small vectors of
// paddings, strides and sizes, read as whole numbers by truncation.
#pragma once

#include <cstdint>
#include <vector>

#include "module/host_interface.hpp"

namespace vfl_network {

// A double truncated towards zero into 64 unsigned bits; negative values wrap, NaN gives 0.
uint64_t truncatedUnsigned(double x);

// The values of a real double non-sparse array of exactly `count` elements, truncated; `text`
// is the error otherwise.
std::vector<uint64_t> countedValues(const vxArray* a, size_t count, const char* text);

// The stride pair: class double, else StrideClass; sparse, complex or not two elements: the
// text; a zero: InvalidStride.
std::vector<uint64_t> readStride(const vxArray* a);

// The values of a real numeric non-sparse array of exactly `count` elements, converted by the
// host to unsigned 64-bit integers (rounded, saturated, NaN as 0); `text` is the error otherwise.
std::vector<uint64_t> convertedValues(const vxArray* a, size_t count, const char* text);

// A flag given as a double or logical scalar: anything but 0 counts as set, NaN too. Other
// arguments raise `text`.
bool truthValue(const vxArray* a, const char* text);

// The pooling arguments after the input: window, padding and stride, checked in that order.
struct PoolSettings {
    std::vector<uint64_t> window, padding, stride;
};
// The input (real single or double, non-empty, at most 4 dimensions) and prhs[1..3].
PoolSettings readPoolSettings(const vxArray* const* prhs);

// Both arrays real single or double of one class, non-empty, with at most four dimensions.
void checkArrayPair(const vxArray* a, const vxArray* b);

}  // namespace vfl_network
