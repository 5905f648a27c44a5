// The byte format of the coverage-guided fuzzers: a built-in of the target's family, an output
// count and up to fifteen arrays, read front to back (zeros once the bytes run out). seeds.py
// writes the same format.
//
//   which, nlhs (mod 4), count (mod 16), then per array:
//   kind   low 4 bits: the class (see kClasses; one past them: strings), bit 4: complex
//   rank   2 + rank % 3 dimensions, each one byte
//   fill   0: one signed byte per element; 1: eight bytes of a double's bits per element;
//          2: one double's bits for every element. Text takes one byte per character, each
//          string a length byte first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "host/embed.hpp"

namespace vlfuzz {

class Reader {
public:
    Reader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    uint8_t byte() { return at_ < size_ ? data_[at_++] : 0; }
    double bits() {
        uint64_t word = 0;
        for (int k = 0; k < 8; ++k) word |= uint64_t(byte()) << (8 * k);
        double value;
        std::memcpy(&value, &word, sizeof value);
        return value;
    }

private:
    const uint8_t* data_;
    size_t size_;
    size_t at_ = 0;
};

constexpr vxClassID kClasses[] = {VX_DOUBLE_CLASS, VX_SINGLE_CLASS, VX_INT8_CLASS,   VX_UINT8_CLASS,
                                  VX_INT16_CLASS,  VX_UINT16_CLASS, VX_INT32_CLASS,  VX_UINT32_CLASS,
                                  VX_INT64_CLASS,  VX_UINT64_CLASS, VX_LOGICAL_CLASS, VX_CHAR_CLASS};
constexpr size_t kClassCount = sizeof kClasses / sizeof kClasses[0];
constexpr size_t kMaxElements = size_t(1) << 12;  // keeps each case within milliseconds

// The case's arrays; empty when a size passes kMaxElements.
std::vector<vxArray*> readArrays(Reader& in);

}  // namespace vlfuzz
