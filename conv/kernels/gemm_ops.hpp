// Operators whose elements are matrices or vectors, for the N-dimensional walks: every element of
// an operand is a block, and one update of the walk is a matrix product or a vector axpy.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "common/exact_arith.hpp"
#include "conv/kernels/conv_flags.hpp"
#include "module/blas.hpp"

namespace vfl_conv {

// Matrix parameters of one block product, C (m by n) += op(A) (m by k) op(B) (k by n): the
// record every GEMM operator carries (GemmOpParams). A merged run of blocks always multiplies n.
struct GemmShape {
    int64_t k, n, mUnit, ldc, lda, ldb;
    char transA, transB;
};
using GemmOpParams = GemmShape;

// The run entry of the plan walks: `length` output blocks against as many first-operand blocks,
// all with one second-operand block: C (mUnit by n) += op(A) op(B) with A the second block, B
// the first's, C the output's. When consecutive blocks of out and first follow each other in
// memory (n columns apart), the run is one product of n * length columns, else one per block.
template <class T>
struct ColumnGemmFunctor {
    GemmShape s;

    void operator()(const ConvFlags&, T* out, ptrdiff_t outStride, const T* first, ptrdiff_t firstStride,
                    const T* second, size_t length) const {
        if (outStride == s.ldc * s.n && firstStride == s.ldb * s.n) return product(out, first, second, length);
        for (size_t i = 0; i < length; ++i)
            product(out + ptrdiff_t(i) * outStride, first + ptrdiff_t(i) * firstStride, second, 1);
    }

    void product(T* out, const T* first, const T* second, size_t blocks) const {
        vlmathdsp::gemmAdd(s.transA, s.transB, s.mUnit, s.n * int64_t(blocks), s.k, second, s.lda, first, s.ldb, out,
                           s.ldc);
    }
};

// The run entry of the sparse walk where every element is a vector: out[i outStride + f] +=
// *second first[i firstStride + f] for f in [from, to), the part of the vectors of one task.
template <class T>
struct ExtendedAXPY {
    uint64_t from, to;

    void operator()(const ConvFlags&, T* out, ptrdiff_t outStride, const T* first, ptrdiff_t firstStride,
                    const T* second, size_t length) const {
        for (size_t i = 0; i < length; ++i)
            vlcommon::axpyContiguous(out + ptrdiff_t(i) * outStride + from, first + ptrdiff_t(i) * firstStride + from,
                                     *second, to - from);
    }
};

}  // namespace vfl_conv
