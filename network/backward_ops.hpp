// The strided gradient walk: one operand is read as if stride - 1 zeros stood between its
// elements. Only the taps that fall on an element are enumerated, so the zeros are neither
// stored nor multiplied. Each output block receives its products in the same order and of the
// same shapes whatever rows and columns a task holds.
#pragma once

#include <algorithm>
#include <cstdint>

#include "conv/kernels/gemm_ops.hpp"

namespace vfl_network {

using vfl_conv::ColumnGemmFunctor;

// One spatial dimension of the walk: the real operand's length, the expanded operand's element
// count before expansion, its stride, and whether it is read from its far end.
struct ExpandedAxis {
    uint64_t real, count, stride;
    bool reversed;

    // The element indices [first, last) of the expanded operand whose position r * stride meets
    // an output in [lo, hi) of the full convolution.
    void taps(uint64_t lo, uint64_t hi, uint64_t& first, uint64_t& last) const {
        first = lo + 1 > real ? (lo - real) / stride + 1 : 0;
        last = std::min(count, (hi - 1) / stride + 1);
    }
    // The block of the expanded operand at tap r, counted from its element 0 in memory.
    int64_t element(uint64_t r) const { return int64_t(reversed ? count - 1 - r : r); }
};

// Output rows [lo, hi) of one column: for each expanded element that meets them, in ascending
// position, one product of its block with the run of real blocks, the run merged into n.
template <class T>
struct InnerBackwardOp {
    ColumnGemmFunctor<T> gemm;
    const T* column;    // the expanded operand's column, at its first block in memory
    int64_t blockStep;  // between its blocks, absolute
    ExpandedAxis axis;

    // out at row lo, rows outStep apart; real at its column's row 0, rows realStep apart.
    void operator()(T* out, uint64_t lo, uint64_t hi, int64_t outStep, const T* real, int64_t realStep) const {
        uint64_t first, last;
        axis.taps(lo, hi, first, last);
        for (uint64_t r = first; r < last; ++r) {
            const uint64_t t = r * axis.stride, qLo = std::max(lo, t), qHi = std::min(hi, t + axis.real);
            gemm.product(out + int64_t(qLo - lo) * outStep, real + int64_t(qLo - t) * realStep,
                         column + axis.element(r) * blockStep, qHi - qLo);
        }
    }
};

// Output columns [cLo, cHi) and rows [rLo, rHi): each column, for each expanded column that meets
// it in ascending position, the inner walk of the real column it pairs with.
template <class T>
struct OuterBackwardOp {
    ColumnGemmFunctor<T> gemm;
    const T* expanded;  // at its first block in memory
    ExpandedAxis rows, columns;
    int64_t outRowStep, outColumnStep, realRowStep, realColumnStep, expandedRowStep, expandedColumnStep;

    // out at (rLo, cLo); real at its block (0, 0).
    void operator()(T* out, uint64_t rLo, uint64_t rHi, uint64_t cLo, uint64_t cHi, const T* real) const {
        for (uint64_t q = cLo; q < cHi; ++q, out += outColumnStep) {
            uint64_t first, last;
            columns.taps(q, q + 1, first, last);
            for (uint64_t r = first; r < last; ++r) {
                const InnerBackwardOp<T> inner{gemm, expanded + columns.element(r) * expandedColumnStep,
                                               expandedRowStep, rows};
                inner(out, rLo, rHi, outRowStep, real + int64_t(q - r * columns.stride) * realColumnStep, realRowStep);
            }
        }
    }
};

}  // namespace vfl_network
