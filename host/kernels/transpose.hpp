// The tile transpose of the host's permutations, one copy per instruction-set level.
#pragma once

#include <cstddef>

#include "common/isa.hpp"

namespace vlhost::kernels {

// dst[i + j dstStride] = src[i srcStride + j] over the tile of rows [ib, ie) by columns [jb, je),
// strides in elements of `bytes` bytes each (1, 2, 4, 8 or 16). Bits move unchanged.
VL_ISA_DECLARE(void transposeTile(const void* src, size_t srcStride, void* dst, size_t dstStride, size_t bytes,
                                  size_t ib, size_t ie, size_t jb, size_t je))

inline void transposeTile(const void* src, size_t srcStride, void* dst, size_t dstStride, size_t bytes, size_t ib,
                          size_t ie, size_t jb, size_t je) {
    using Fn = void (*)(const void*, size_t, void*, size_t, size_t, size_t, size_t, size_t, size_t);
    static const Fn run = VL_ISA_PICK(transposeTile, Fn);
    run(src, srcStride, dst, dstStride, bytes, ib, ie, jb, je);
}

}  // namespace vlhost::kernels
