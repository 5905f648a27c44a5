// The record that the host reads to find the sixteen built-ins.
#pragma once

#include <cstdint>

#include "module/host_interface.hpp"

namespace vlmathdsp {

struct BuiltinTable {
    const vxBuiltin* slots;
    uint64_t firstWord;
    uint64_t secondWord;
    uint64_t slotCount;
};
static_assert(sizeof(BuiltinTable) == 32, "the host reads four 64-bit words");

constexpr uint64_t kTableFirstWord = 0x6c5c0e51;
constexpr uint64_t kTableSecondWord = 0x5a796761;
constexpr uint64_t kSlotCount = 16;

extern const BuiltinTable builtinTable;

}  // namespace vlmathdsp
