// The table of built-ins. The host calls by slot number, so the order is the interface.
#include "module/builtin_table.hpp"

#include "module/entries.hpp"

namespace vlmathdsp {

namespace {

// Slots 4 to 7 and 12, 13 forward to a shared worker with a sign or a mode; their entries are
// defined with the worker.
const vxBuiltin slots[kSlotCount] = {
    convForwardEntry,         // 0
    convBackwardEntry,        // 1
    conv2Entry,               // 2
    convncEntry,              // 3
    fftForwardEntry,          // 4
    fftInverseEntry,          // 5
    fftnForwardEntry,         // 6
    fftnInverseEntry,         // 7
    fftwControlEntry,         // 8
    filterEntry,              // 9
    filterEntry,              // 10: the same function as slot 9
    ltitrEntry,               // 11
    poolForwardMaxEntry,      // 12
    poolForwardAverageEntry,  // 13
    poolBackwardEntry,        // 14
    windowNormEntry,          // 15
};

}  // namespace

const BuiltinTable builtinTable = {slots, kTableFirstWord, kTableSecondWord, kSlotCount};

}  // namespace vlmathdsp
