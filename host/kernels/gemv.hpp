// The host's small matrix-vector product, one copy per instruction-set level.
#pragma once

#include <cstddef>

#include "common/isa.hpp"

namespace vlhost::kernels {

// y = a x, a p by q column-major; x and y `inc` elements apart (1, or 2 for the parts of
// interleaved complex vectors). Each y[i] sums a[i,k] x[k] in order of k, at every level.
VL_ISA_DECLARE(void smallGemv(size_t p, size_t q, const double* a, const double* x, size_t inc, double* y);
               void smallGemv(size_t p, size_t q, const float* a, const float* x, size_t inc, float* y))

template <class T>
void smallGemv(size_t p, size_t q, const T* a, const T* x, size_t inc, T* y) {
    using Fn = void (*)(size_t, size_t, const T*, const T*, size_t, T*);
    static const Fn run = VL_ISA_PICK(smallGemv, Fn);
    run(p, q, a, x, inc, y);
}

}  // namespace vlhost::kernels
