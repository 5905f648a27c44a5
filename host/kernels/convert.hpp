// The host's conversion loops, one copy per instruction-set level.
#pragma once

#include <cstddef>

#include "common/isa.hpp"
#include "module/host_interface.hpp"

namespace vlhost::kernels {

// `count` scalars of class `from` to class `to`: integers round to nearest with ties away from
// zero, saturate at their limits and take NaN as 0; logical is true for non-zero.
// realToComplex: count elements of `bytes` bytes to the real parts of interleaved pairs whose
// imaginary parts it zeroes.
// keepRealParts: the real parts of count interleaved pairs, moved to the front in place.
// imaginaryAllZero: whether every imaginary part of count pairs of class `id` is zero.
VL_ISA_DECLARE(void convertData(vxClassID from, const void* src, vxClassID to, void* dst, size_t count);
               void realToComplex(const void* src, void* dst, size_t count, size_t bytes);
               void keepRealParts(void* data, size_t count, size_t bytes);
               bool imaginaryAllZero(vxClassID id, const void* data, size_t count))

inline void convertData(vxClassID from, const void* src, vxClassID to, void* dst, size_t count) {
    static const auto run = VL_ISA_PICK(convertData, void (*)(vxClassID, const void*, vxClassID, void*, size_t));
    run(from, src, to, dst, count);
}
inline void realToComplex(const void* src, void* dst, size_t count, size_t bytes) {
    static const auto run = VL_ISA_PICK(realToComplex, void (*)(const void*, void*, size_t, size_t));
    run(src, dst, count, bytes);
}
inline void keepRealParts(void* data, size_t count, size_t bytes) {
    static const auto run = VL_ISA_PICK(keepRealParts, void (*)(void*, size_t, size_t));
    run(data, count, bytes);
}
inline bool imaginaryAllZero(vxClassID id, const void* data, size_t count) {
    static const auto run = VL_ISA_PICK(imaginaryAllZero, bool (*)(vxClassID, const void*, size_t));
    return run(id, data, count);
}

}  // namespace vlhost::kernels
