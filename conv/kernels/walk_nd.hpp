// The N-dimensional walks over a box of the full convolution: dense, by one plan per dimension
// (the two innermost dimensions fused into register-blocked sweeps where the runs are
// contiguous); sparse, over the non-zero elements of the second operand; and plain, recursing
// down to an operator that takes dimension 0 whole. All leave each output's order of sums to the
// sizes alone: the highest dimension's pairs outermost, the taps
// of dimension 0 innermost, second-operand indices ascending.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "conv/kernels/conv_flags.hpp"
#include "conv/kernels/dim_plan.hpp"
#include "conv/kernels/fused.hpp"
#include "conv/kernels/geometry.hpp"

namespace vfl_conv {

// Plan orders of a box: dimension 0 tap-major; above it output-major unless exactly one operand
// has length 1 there, when each output meets one pair and tap-major keeps runs long.
inline int32_t planOrder(size_t d, uint64_t firstLength, uint64_t secondLength) {
    if (d == 0) return ORDER_TAPS;
    return (firstLength == 1) != (secondLength == 1) ? ORDER_TAPS : ORDER_OUTPUTS;
}

// The plan of a dimension in element indices: built on the strides' magnitudes, then each
// pointer's offsets and steps take its stride's sign, so that from element 0 of an operand a
// negative stride reads it backwards.
inline void planDimension(ConvDimPlan& plan, uint64_t lo, uint64_t hi, const DimStrides& s, uint64_t m, uint64_t k,
                          int32_t order) {
    buildDimPlan(plan, lo, hi, {std::abs(s.out), std::abs(s.first), std::abs(s.second)}, m, k, order);
    const int64_t so = s.out < 0 ? -1 : 1, sf = s.first < 0 ? -1 : 1, ss = s.second < 0 ? -1 : 1;
    plan.offsetOut *= so, plan.offsetFirst *= sf, plan.offsetSecond *= ss;
    plan.strideOut *= so, plan.strideFirst *= sf, plan.strideSecond *= ss;
    for (int64_t* step : {&plan.stepOut1, &plan.stepOut2, &plan.stepOut3, &plan.stepOut4}) *step *= so;
    for (int64_t* step : {&plan.stepFirst1, &plan.stepFirst2, &plan.stepFirst3, &plan.stepFirst4}) *step *= sf;
    for (int64_t* step : {&plan.stepSecond1, &plan.stepSecond2, &plan.stepSecond3, &plan.stepSecond4}) *step *= ss;
}

// Op: op(flags, out, outStride, first, firstStride, second, length) adds second * first[i
// firstStride] into out[i outStride] for i below length; out and first point at element 0 of
// their runs. Fused: whether the two innermost
// dimensions may run as the sweeps of fused.hpp, which give the bits of those calls.
template <class Op, class Out, class F, class S>
struct PlanWalk {
    const ConvFlags& flags;
    const Op& op;
    const ConvDimPlan* plans;
    uint64_t lo0, hi0, m1, m2;  // dimension 0: the box and the operands' lengths
    bool fused;

    void run(size_t level, Out* out, const F* first, const S* second) const {
        const ConvDimPlan& p = plans[level - 1];
        if (level == 1) {
            walkDimPlan(p, [&](int64_t o, int64_t f, int64_t s, uint64_t len) {
                op(flags, out + o, p.strideOut, first + f, p.strideFirst, second + s, len);
            });
        } else if (level == 2 && fused) {
            walkDimPlan(p, [&](int64_t o, int64_t f, int64_t s, uint64_t len) {
                if (p.order == ORDER_OUTPUTS)
                    return columnSweep(out + o, first + f + int64_t(len - 1) * p.strideFirst, -p.strideFirst,
                                       second + s, p.strideSecond, len);
                for (uint64_t i = 0; i < len; ++i)
                    columnSweep(out + o + int64_t(i) * p.strideOut, first + f + int64_t(i) * p.strideFirst, 0,
                                second + s, 0, 1);
            });
        } else {
            walkDimPlan(p, [&](int64_t o, int64_t f, int64_t s, uint64_t len) {
                for (uint64_t i = 0; i < len; ++i) {
                    if (p.order == ORDER_TAPS)
                        run(level - 1, out + o + int64_t(i) * p.strideOut, first + f + int64_t(i) * p.strideFirst,
                            second + s);
                    else
                        run(level - 1, out + o, first + f + int64_t(len - 1 - i) * p.strideFirst,
                            second + s + int64_t(i) * p.strideSecond);
                }
            });
        }
    }

    // One output column of dimension 0 from `pairs` column pairs: the rows where every tap
    // overlaps in one sweep, the rows above and below row by row, in the same order of sums.
    void columnSweep(Out* column, const F* x, int64_t xPairStep, const S* g, int64_t gPairStep, uint64_t pairs) const {
        const uint64_t fullLo = std::min(std::max(lo0, m2 - 1), hi0), fullHi = std::max(fullLo, std::min(hi0, m1));
        partialTapRows(column, lo0, fullLo, x, xPairStep, g, gPairStep, pairs, m1, m2);
        if (fullLo < fullHi) fusedTapRows(column + (fullLo - lo0), fullHi - fullLo, x + fullLo, xPairStep, g, gPairStep, pairs, m2);
        partialTapRows(column + (fullHi - lo0), fullHi, hi0, x, xPairStep, g, gPairStep, pairs, m1, m2);
    }
};

// Plans the box [lo, hi) and walks it; `out` points at the box's first element, the operands at
// their element 0.
template <class Op, class Out, class F, class S>
void walkPlans(const ConvGeometry& g, const Sizes& lo, const Sizes& hi, const ConvFlags& flags, const Op& op, Out* out,
               const F* first, const S* second, bool fusable) {
    const size_t n = lo.size();
    std::vector<ConvDimPlan> plans(n);
    for (size_t d = 0; d < n; ++d)
        planDimension(plans[d], lo[d], hi[d], {g.outStride[d], g.firstStride[d], g.secondStride[d]}, g.firstSize[d],
                      g.secondSize[d], planOrder(d, g.firstSize[d], g.secondSize[d]));
    const bool fused = fusable && n >= 2 && flags.unitStride && g.outStride[0] == 1 && g.firstStride[0] == 1 &&
                       g.secondStride[0] == 1;
    const PlanWalk<Op, Out, F, S> walk{flags, op, plans.data(), lo[0], hi[0], g.firstSize[0], g.secondSize[0], fused};
    walk.run(n, out, first, second);
}

// The output box of one tap, from the highest dimension down, one op call per run of dimension 0.
// Pointers here are at element 0 of their operand or box (elementZero).
template <class Op, class Out, class F, class S>
void boxAxpy(const ConvGeometry& g, const ConvFlags& flags, const Op& op, size_t d, Out* out, const F* first,
             const S* tap, const Sizes& boxLo, const Sizes& boxHi) {
    if (d == 0) return op(flags, out, g.outStride[0], first, g.firstStride[0], tap, boxHi[0] - boxLo[0]);
    for (uint64_t i = boxLo[d]; i < boxHi[d]; ++i, out += g.outStride[d], first += g.firstStride[d])
        boxAxpy(g, flags, op, d - 1, out, first, tap, boxLo, boxHi);
}

// The sparse walk over the box [lo, hi): for each non-zero element of the second operand (NaN
// included), ascending with dimension 0 fastest, one op call per run of dimension 0 of the
// output box it reaches. `out` points at element 0 of the box, the operands at their element 0.
template <class Op, class Out, class F, class S>
void walkSparse(const ConvGeometry& g, const Sizes& lo, const Sizes& hi, const ConvFlags& flags, const Op& op, Out* out,
                const F* first, const S* second) {
    const size_t n = lo.size();
    Sizes j0(n), j1(n), counter(n), boxLo(n), boxHi(n);
    for (size_t d = 0; d < n; ++d) {
        j0[d] = std::max(lo[d], g.firstSize[d] - 1) - g.firstSize[d] + 1;
        j1[d] = std::min(hi[d], g.secondSize[d]);
        if (j0[d] >= j1[d]) return;
    }
    counter = j0;
    while (true) {
        const S* element = second;
        for (size_t d = 0; d < n; ++d) element += int64_t(counter[d]) * g.secondStride[d];
        if (!isExactZero(*element)) {
            Out* o = out;
            const F* f = first;
            bool empty = false;
            for (size_t d = 0; d < n; ++d) {
                boxLo[d] = std::max(counter[d], lo[d]);
                boxHi[d] = std::min(hi[d], counter[d] + g.firstSize[d]);
                empty = empty || boxLo[d] >= boxHi[d];
                o += int64_t(boxLo[d] - lo[d]) * g.outStride[d];
                f += int64_t(boxLo[d] - counter[d]) * g.firstStride[d];
            }
            if (!empty) boxAxpy(g, flags, op, n - 1, o, f, element, boxLo, boxHi);
        }
        if (!nextIndex(counter, j0, j1)) return;
    }
}

// The plain walk over the box [lo, hi): from the highest dimension down, each output's pairs in
// ascending second-operand order; dimension 0 goes whole to the operator's range entry,
// op(flags, out, lo, hi, outStride, first, m, firstStride, second, k, secondStride), with out at
// the element of lo and the operands at their lowest addresses. Pointers are at element 0.
template <class Op, class Out, class F, class S>
void walkRecursive(const ConvGeometry& g, const Sizes& lo, const Sizes& hi, const ConvFlags& flags, const Op& op,
                   size_t d, Out* out, const F* first, const S* second) {
    const uint64_t m = g.firstSize[d], k = g.secondSize[d];
    if (d == 0)
        return op(flags, out, lo[0], hi[0], g.outStride[0], runLowest(first, g.firstStride[0], m), m, g.firstStride[0],
                  runLowest(second, g.secondStride[0], k), k, g.secondStride[0]);
    for (uint64_t i = lo[d]; i < hi[d]; ++i, out += g.outStride[d]) {
        const uint64_t jLo = i + 1 > m ? i + 1 - m : 0, jHi = std::min(k, i + 1);
        for (uint64_t j = jLo; j < jHi; ++j)
            walkRecursive(g, lo, hi, flags, op, d - 1, out, first + int64_t(i - j) * g.firstStride[d],
                          second + int64_t(j) * g.secondStride[d]);
    }
}

}  // namespace vfl_conv
