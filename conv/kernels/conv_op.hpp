// VELTRAConvOp adds outputs [begin, end) of a 1-d convolution into `out` (the element of `begin`).
// Operands are given by their lowest address and a stride; a negative stride reads from the far end.
#pragma once

#include <algorithm>
#include <cstddef>

#include "conv/kernels/axpy.hpp"
#include "conv/kernels/conv_flags.hpp"
#include "conv/kernels/dot.hpp"
#include "conv/kernels/fused.hpp"
#include "conv/kernels/geometry.hpp"

namespace vfl_conv {

enum ConvKind : int { KIND_AXPY = 0, KIND_DOT = 1, KIND_PHASED = 3 };

// The outputs over which every tap of the second operand meets the first: [n2 - 1, n1).
inline void fullOverlap(size_t begin, size_t end, size_t n1, size_t n2, size_t& lo, size_t& hi) {
    lo = std::min(std::max(begin, n2 - 1), end);
    hi = std::max(lo, std::min(end, n1));
}

// Outputs [begin, end) in three parts: `edges(out, b, e)` before and after the full overlap, and
// `middle(out, lo, hi)` over it when the runs are contiguous (otherwise edges do it all).
template <class Out, class Edges, class Middle>
void edgesAndMiddle(Out* out, size_t begin, size_t end, ptrdiff_t outStride, size_t n1, size_t n2, bool contiguous,
                    const Edges& edges, const Middle& middle) {
    size_t lo = end, hi = end;
    if (contiguous) fullOverlap(begin, end, n1, n2, lo, hi);
    edges(out, begin, lo);
    if (lo < hi) middle(out + (lo - begin), lo, hi);
    edges(out + ptrdiff_t(hi - begin) * outStride, hi, end);
}

template <class TFirst, class TSecond, int Kind>
struct VELTRAConvOp;

// Kind 0: the taps of the second operand in ascending order, each an axpy of the first.
template <class TFirst, class TSecond>
struct VELTRAConvOp<TFirst, TSecond, KIND_AXPY> {
    using Out = OutputOf<TFirst, TSecond>;

    // The inner call of the N-dimensional walks: out[i outStride] += *second first[i firstStride].
    // Runs of contiguous operands may go through the fused sweeps, which give the same bits.
    static constexpr bool kFusable = true;
    void operator()(const ConvFlags& flags, Out* out, ptrdiff_t outStride, const TFirst* first, ptrdiff_t firstStride,
                    const TSecond* second, size_t length) const {
        axpy(flags, out, outStride, first, firstStride, second, length);
    }

    static void tapByTap(const ConvFlags& flags, Out* out, size_t begin, size_t end, ptrdiff_t outStride,
                         const TFirst* f0, size_t n1, ptrdiff_t s1, const TSecond* g0, size_t n2, ptrdiff_t s2) {
        if (begin >= end) return;
        const size_t t0 = begin < n1 ? 0 : begin - n1 + 1;
        const size_t t1 = std::min(n2, end);
        for (size_t t = t0; t < t1; ++t) {
            const size_t lo = std::max(begin, t), hi = std::min(end, t + n1);
            if (lo < hi)
                axpy(flags, out + ptrdiff_t(lo - begin) * outStride, outStride, f0 + ptrdiff_t(lo - t) * s1, s1,
                     g0 + ptrdiff_t(t) * s2, hi - lo);
        }
    }

    void operator()(const ConvFlags& flags, Out* out, size_t begin, size_t end, ptrdiff_t outStride,
                    const TFirst* first, size_t n1, ptrdiff_t s1, const TSecond* second, size_t n2,
                    ptrdiff_t s2) const {
        if (begin >= end || n1 == 0 || n2 == 0) return;
        const TFirst* f0 = elementZero(first, n1, s1);
        const TSecond* g0 = elementZero(second, n2, s2);
        edgesAndMiddle(
            out, begin, end, outStride, n1, n2, flags.unitStride && outStride == 1 && s1 == 1 && s2 == 1,
            [&](Out* o, size_t b, size_t e) { tapByTap(flags, o, b, e, outStride, f0, n1, s1, g0, n2, s2); },
            [&](Out* o, size_t lo, size_t hi) { fusedTapRows(o, hi - lo, f0 + lo, 0, g0, 0, 1, n2); });
    }
};

// Kind 1: each output is one reversed inner product over the overlap.
template <class TFirst, class TSecond>
struct VELTRAConvOp<TFirst, TSecond, KIND_DOT> {
    using Out = OutputOf<TFirst, TSecond>;

    static void eachOutput(Out* out, size_t begin, size_t end, ptrdiff_t outStride, const TFirst* f0, size_t n1,
                           ptrdiff_t s1, const TSecond* g0, size_t n2, ptrdiff_t s2) {
        for (size_t o = begin; o < end; ++o) {
            const size_t tlo = o + 1 > n1 ? o + 1 - n1 : 0;
            const size_t thi = std::min(n2 - 1, o);
            out[ptrdiff_t(o - begin) * outStride] +=
                reversedDot<Out>(f0 + ptrdiff_t(o - thi) * s1, s1, g0 + ptrdiff_t(tlo) * s2, s2, thi - tlo + 1);
        }
    }

    void operator()(const ConvFlags& flags, Out* out, size_t begin, size_t end, ptrdiff_t outStride,
                    const TFirst* first, size_t n1, ptrdiff_t s1, const TSecond* second, size_t n2,
                    ptrdiff_t s2) const {
        if (begin >= end || n1 == 0 || n2 == 0) return;
        const TFirst* f0 = elementZero(first, n1, s1);
        const TSecond* g0 = elementZero(second, n2, s2);
        edgesAndMiddle(
            out, begin, end, outStride, n1, n2, outStride == 1 && s1 == 1 && s2 == 1,
            [&](Out* o, size_t b, size_t e) { eachOutput(o, b, e, outStride, f0, n1, s1, g0, n2, s2); },
            [&](Out* o, size_t lo, size_t hi) { fusedDotRows(o, hi - lo, f0 + lo, g0, n2); });
    }
};

// Kind 3: for a long first and a short second operand. Where the second overlaps in full the
// outputs go by whole blocks of its length, reading the first operand straight through; the
// edges go by kind 1. Each output is the same inner product as kind 1 gives it.
template <class TFirst, class TSecond>
struct VELTRAConvOp<TFirst, TSecond, KIND_PHASED> {
    using Out = OutputOf<TFirst, TSecond>;
    using Dot = VELTRAConvOp<TFirst, TSecond, KIND_DOT>;

    void operator()(const ConvFlags& flags, Out* out, size_t begin, size_t end, ptrdiff_t outStride,
                    const TFirst* first, size_t n1, ptrdiff_t s1, const TSecond* second, size_t n2,
                    ptrdiff_t s2) const {
        if (begin >= end || n1 == 0 || n2 == 0) return;
        size_t lo = std::max(begin, n2 - 1), hi = std::min(n1, end);
        if (hi <= lo || hi - lo < 2 * n2) {
            Dot()(flags, out, begin, end, outStride, first, n1, s1, second, n2, s2);
            return;
        }
        hi -= (hi - lo) % n2;
        const TFirst* f0 = elementZero(first, n1, s1);
        const TSecond* g0 = elementZero(second, n2, s2);
        Dot::eachOutput(out, begin, lo, outStride, f0, n1, s1, g0, n2, s2);
        if (outStride == 1 && s1 == 1 && s2 == 1)
            fusedDotRows(out + (lo - begin), hi - lo, f0 + lo, g0, n2);
        else
            Dot::eachOutput(out + ptrdiff_t(lo - begin) * outStride, lo, hi, outStride, f0, n1, s1, g0, n2, s2);
        Dot::eachOutput(out + ptrdiff_t(hi - begin) * outStride, hi, end, outStride, f0, n1, s1, g0, n2, s2);
    }
};

}  // namespace vfl_conv
