// The two-dimensional walks: dense, by a row plan and a column plan, and sparse, skipping the
// zero taps of the second operand. Both add the block [r0, r1) x [c0, c1) of the full
// convolution into `out`, which points at the block's first element, with columns ldOut apart.
#pragma once

#include <algorithm>

#include "conv/kernels/axpy.hpp"
#include "conv/kernels/dim_plan.hpp"
#include "conv/kernels/fused.hpp"

namespace vfl_conv {

template <class TFirst, class TSecond>
void convWalk2D(const ConvFlags& flags, OutputOf<TFirst, TSecond>* out, size_t ldOut, size_t r0, size_t r1, size_t c0,
                size_t c1, const TFirst* first, size_t m1, size_t n1, const TSecond* second, size_t m2, size_t n2) {
    const size_t rowLimit = std::max<size_t>(m1 + m2, 1) - 1, colLimit = std::max<size_t>(n1 + n2, 1) - 1;
    r0 = std::min(r0, rowLimit), r1 = std::min(r1, rowLimit);
    c0 = std::min(c0, colLimit), c1 = std::min(c1, colLimit);
    if (r0 >= r1 || c0 >= c1) return;
    ConvDimPlan cols;
    buildDimPlan(cols, c0, c1, {int64_t(ldOut), int64_t(m1), int64_t(m2)}, n1, n2, ORDER_OUTPUTS);
    if (flags.unitStride) {
        // Rows where every tap of a second-operand column overlaps go through one register-blocked
        // sweep, the rows above and below through a row-by-row sweep, both in the walk's order.
        const size_t fullLo = std::min(std::max(r0, m2 - 1), r1), fullHi = std::max(fullLo, std::min(r1, m1));
        // Neighbouring output columns with the same second-operand columns, each reading the
        // first operand one column on, sweep their full rows together.
        struct Run {
            int64_t oc, fc, sc;
            uint64_t pairs;
            size_t columns;
        } run{0, 0, 0, 0, 0};
        const auto sweep = [&] {
            if (run.columns && fullLo < fullHi)
                fusedTapColumns(out + run.oc + (fullLo - r0), int64_t(ldOut), run.columns, fullHi - fullLo,
                                first + run.fc + fullLo, int64_t(m1), second + run.sc + int64_t((run.pairs - 1) * m2),
                                -int64_t(m2), run.pairs, m2);
            run.columns = 0;
        };
        walkDimPlan(cols, [&](int64_t oc, int64_t fc, int64_t sc, uint64_t pairs) {
            const TFirst* firstColumns = first + fc;
            const TSecond* lastSecond = second + sc + int64_t((pairs - 1) * m2);
            partialTapRows(out + oc, r0, fullLo, firstColumns, int64_t(m1), lastSecond, -int64_t(m2), pairs, m1, m2);
            partialTapRows(out + oc + (fullHi - r0), fullHi, r1, firstColumns, int64_t(m1), lastSecond, -int64_t(m2),
                           pairs, m1, m2);
            const int64_t n = int64_t(run.columns);
            if (!(run.columns && pairs == run.pairs && sc == run.sc && oc == run.oc + n * int64_t(ldOut) &&
                  fc == run.fc + n * int64_t(m1))) {
                sweep();
                run = {oc, fc, sc, pairs, 0};
            }
            ++run.columns;
        });
        sweep();
        return;
    }
    // Strided operands: each pair of columns walks the row plan tap by tap.
    ConvDimPlan rows;
    buildDimPlan(rows, r0, r1, {1, 1, 1}, m1, m2, ORDER_TAPS);
    walkDimPlan(cols, [&](int64_t oc, int64_t fc, int64_t sc, uint64_t pairs) {
        auto* outColumn = out + oc;
        for (uint64_t t = 0; t < pairs; ++t) {
            const TFirst* firstColumn = first + fc + int64_t(t * m1);
            const TSecond* secondColumn = second + sc + int64_t((pairs - 1 - t) * m2);
            walkDimPlan(rows, [&](int64_t o, int64_t f, int64_t s, uint64_t run) {
                axpy(flags, outColumn + o, 1, firstColumn + f, 1, secondColumn + s, run);
            });
        }
    });
}

// Dense first operand D (m1 by n1), mostly-zero second operand S (m2 by n2). D is finite.
template <class TFirst, class TSecond>
void sparseWalk2D(const ConvFlags& flags, OutputOf<TFirst, TSecond>* out, size_t ldOut, size_t r0, size_t r1,
                  size_t c0, size_t c1, const TFirst* dense, size_t m1, size_t n1, const TSecond* sparse, size_t m2,
                  size_t n2) {
    const size_t firstTapRow = m1 > r0 ? 0 : r0 - m1 + 1, endTapRow = std::min(r1, m2);
    const size_t firstTapCol = n1 > c0 ? 0 : c0 - n1 + 1, endTapCol = std::min(c1, n2);
    for (size_t q = firstTapCol; q < endTapCol; ++q) {
        const size_t skipCols = q < c0 ? c0 - q : 0;
        const size_t useCols = std::min(n1, c1 - q);
        for (size_t p = firstTapRow; p < endTapRow; ++p) {
            const TSecond* tap = sparse + p + q * m2;
            if (isExactZero(*tap)) continue;
            const size_t skipRows = p < r0 ? r0 - p : 0;
            const size_t useRows = std::min(m1, r1 - p) - skipRows;
            for (size_t k = skipCols; k < useCols; ++k)
                axpy(flags, out + (p + skipRows - r0) + (k + q - c0) * ldOut, 1, dense + skipRows + k * m1, 1, tap,
                     useRows);
        }
    }
}

}  // namespace vfl_conv
