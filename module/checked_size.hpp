// Sizes computed from lengths: a sum or product that does not fit in 64 bits is the host's
// out-of-memory failure, never a wrapped small size.
#pragma once

#include <cstddef>
#include <cstdint>

#include "module/host_interface.hpp"

namespace vlmathdsp {

[[noreturn]] inline void sizeOverflow() {
    foundation::core::except::detail::legacy(foundation::core::except::bad_alloc());
}

inline size_t addSizes(size_t a, size_t b) {
    size_t r;
    if (__builtin_add_overflow(a, b, &r)) sizeOverflow();
    return r;
}

inline size_t mulSizes(size_t a, size_t b) {
    size_t r;
    if (__builtin_mul_overflow(a, b, &r)) sizeOverflow();
    return r;
}

// Bounds of ranges, where a sum or product past 64 bits only means "beyond everything".
inline uint64_t saturatedSum(uint64_t a, uint64_t b) {
    uint64_t r;
    return __builtin_add_overflow(a, b, &r) ? UINT64_MAX : r;
}

inline uint64_t saturatedProduct(uint64_t a, uint64_t b) {
    uint64_t r;
    return __builtin_mul_overflow(a, b, &r) ? UINT64_MAX : r;
}

}  // namespace vlmathdsp
