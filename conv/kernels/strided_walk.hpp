// The sampled walks: element i of the result along dimension d is element lo[d] + i stride[d] of
// the full convolution, for the samples below hi[d]. Dense: from the highest dimension down, each
// sample's overlapping pairs in ascending second-operand order, and at dimension 0 one inner call
// per second-operand element over the samples it reaches. Sparse: the same updates for the
// non-zero elements of the second operand only. Pointers are at element 0 of their operand, so
// an operand's strides may be negative (elementZero); the output's are positive.
#pragma once

#include <algorithm>
#include <type_traits>
#include <vector>

#include "conv/kernels/arith.hpp"
#include "conv/kernels/conv_flags.hpp"
#include "conv/kernels/geometry.hpp"

namespace vfl_conv {

// Samples of [lo, hi) taken every s.
inline uint64_t sampleCount(uint64_t lo, uint64_t hi, uint64_t s) { return hi > lo ? (hi - lo - 1) / s + 1 : 0; }

// The samples [i0, i1) that element j of the second operand reaches along one dimension: those
// with lo + i s - j in [0, m). Empty when i1 <= i0.
inline void reachedSamples(uint64_t j, uint64_t lo, uint64_t count, uint64_t s, uint64_t m, uint64_t& i0,
                           uint64_t& i1) {
    const uint64_t from = std::max(j, lo) - lo;  // the first full-resolution index reached, from lo
    i0 = from / s + (from % s != 0);
    const uint64_t last = j + m - 1;  // the last one
    i1 = last < lo ? 0 : std::min(count, (last - lo) / s + 1);
}

template <class Op, class Out, class F, class S>
struct StridedWalk {
    const ConvGeometry& g;
    const Sizes& stride;
    const ConvFlags& flags;
    const Op& op;
    const Sizes& lo;
    const Sizes& hi;

    // The first operand's step from one sample to the next along d, for a run of `samples`. A run
    // of two or more lies within the operand, so the step does too; a single sample needs none
    // (and its stride may be any size).
    int64_t sampleStep(size_t d, uint64_t samples) const {
        return samples > 1 ? g.firstStride[d] * int64_t(stride[d]) : g.firstStride[d];
    }

    void dense(size_t d, Out* out, const F* first, const S* second) const {
        const uint64_t s = stride[d], m = g.firstSize[d], k = g.secondSize[d];
        const uint64_t count = sampleCount(lo[d], hi[d], s);
        if (count == 0) return;
        if (d == 0) return sampledRuns(out, first, second, count);
        for (uint64_t i = 0; i < count; ++i) {
            const uint64_t p = lo[d] + i * s;
            const uint64_t jLo = p + 1 > m ? p + 1 - m : 0, jHi = std::min(k, p + 1);
            for (uint64_t j = jLo; j < jHi; ++j)
                dense(d - 1, out + int64_t(i) * g.outStride[d], first + int64_t(p - j) * g.firstStride[d],
                      second + int64_t(j) * g.secondStride[d]);
        }
    }

    // Dimension 0: one run entry per second-operand element over the samples it reaches.
    void sampledRuns(Out* out, const F* first, const S* second, uint64_t count) const {
        const uint64_t s = stride[0], m = g.firstSize[0], k = g.secondSize[0];
        const uint64_t last = lo[0] + (count - 1) * s;
        const uint64_t jLo = lo[0] + 1 > m ? lo[0] + 1 - m : 0, jHi = std::min(k, last + 1);
        for (uint64_t j = jLo; j < jHi; ++j) {
            uint64_t i0, i1;
            reachedSamples(j, lo[0], count, s, m, i0, i1);
            if (i0 < i1) {
                const int64_t step = sampleStep(0, i1 - i0);
                op(flags, out + int64_t(i0) * g.outStride[0], g.outStride[0],
                   first + int64_t(lo[0] + i0 * s - j) * g.firstStride[0], step,
                   second + int64_t(j) * g.secondStride[0], i1 - i0);
            }
        }
    }

    // The samples of every dimension that one second-operand element (at `counter`) reaches.
    void sparseBox(size_t d, Out* out, const F* first, const S* tap, const Sizes& i0, const Sizes& i1,
                   const Sizes& counter) const {
        const int64_t firstStep = sampleStep(d, i1[d] - i0[d]);
        out += int64_t(i0[d]) * g.outStride[d];
        first += int64_t(lo[d] + i0[d] * stride[d] - counter[d]) * g.firstStride[d];
        if (d == 0) return op(flags, out, g.outStride[0], first, firstStep, tap, i1[0] - i0[0]);
        for (uint64_t i = i0[d]; i < i1[d]; ++i, out += g.outStride[d], first += firstStep)
            sparseBox(d - 1, out, first, tap, i0, i1, counter);
    }

    // Non-zero elements of the second operand (NaN included), dimension 0 fastest.
    void sparse(Out* out, const F* first, const S* second) const {
        const size_t n = lo.size();
        Sizes count(n), jLo(n), jHi(n), counter(n), i0(n), i1(n);
        for (size_t d = 0; d < n; ++d) {
            count[d] = sampleCount(lo[d], hi[d], stride[d]);
            if (count[d] == 0) return;
            const uint64_t last = lo[d] + (count[d] - 1) * stride[d];
            jLo[d] = lo[d] + 1 > g.firstSize[d] ? lo[d] + 1 - g.firstSize[d] : 0;
            jHi[d] = std::min(g.secondSize[d], last + 1);
            if (jLo[d] >= jHi[d]) return;
        }
        counter = jLo;
        while (true) {
            const S* element = second;
            for (size_t d = 0; d < n; ++d) element += int64_t(counter[d]) * g.secondStride[d];
            if (!isExactZero(*element)) {
                bool empty = false;
                for (size_t d = 0; d < n && !empty; ++d) {
                    reachedSamples(counter[d], lo[d], count[d], stride[d], g.firstSize[d], i0[d], i1[d]);
                    empty = i0[d] >= i1[d];
                }
                if (!empty) sparseBox(n - 1, out, first, element, i0, i1, counter);
            }
            if (!nextIndex(counter, jLo, jHi)) return;
        }
    }
};

}  // namespace vfl_conv
