// Parallel wrappers: the bodies of one parallel_for each. A task adds into its own part of
// the output, zeroed before or by the task itself, so tasks need no lock and the split never
// changes a result.
#pragma once

#include <algorithm>
#include <type_traits>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/blocked_range2d.h>

#include "common/parallel_range.hpp"
#include "conv/kernels/conv_op.hpp"
#include "conv/kernels/walk2d.hpp"
#include "conv/parallel/limits.hpp"
#include "module/argument_helpers.hpp"

namespace vfl_conv::parallel {

// One-dimensional: out points at the element of position `origin`.
template <class TFirst, class TSecond, int Kind>
struct ParWrapper1D {
    using Out = OutputOf<TFirst, TSecond>;
    Out* out;
    ptrdiff_t outStride;
    const TFirst* first;
    size_t n1;
    ptrdiff_t s1;
    const TSecond* second;
    size_t n2;
    ptrdiff_t s2;
    const ConvFlags* flags;
    size_t origin;

    void operator()(const tbb::blocked_range<size_t>& r) const {
        VELTRAConvOp<TFirst, TSecond, Kind>()(*flags, out + ptrdiff_t(r.begin() - origin) * outStride, r.begin(),
                                              r.end(), outStride, first, n1, s1, second, n2, s2);
    }
};

template <class TFirst, class TSecond, int Kind>
void runConv1D(const ConvFlags& flags, OutputOf<TFirst, TSecond>* out, size_t begin, size_t end, ptrdiff_t outStride,
               const TFirst* first, size_t n1, ptrdiff_t s1, const TSecond* second, size_t n2, ptrdiff_t s2) {
    const size_t limit = std::max<size_t>(n1 + n2, 1) - 1;
    const size_t b = std::min(begin, limit), e = std::min(end, limit);
    if (b >= e) return;
    out += ptrdiff_t(b - begin) * outStride;
    const ParWrapper1D<TFirst, TSecond, Kind> body{out, outStride, first, n1, s1, second, n2, s2, &flags, b};
    const Limits1D limits = limits1D(Kind, kSingleFamily<TFirst, TSecond>, kAnyComplex<TFirst, TSecond>, e - b);
    const tbb::blocked_range<size_t> range(b, e, limits.grain);
    if (e - b <= limits.serial) return body(range);
    vlmathdsp::ComputationalThreadScope scope;
    vlcommon::runRange(true, range, body);
}

// Two-dimensional blocks; Walk is the dense plan walk or the sparse walk.
template <class TFirst, class TSecond, bool Sparse>
struct ParWrapper2D {
    using Out = OutputOf<TFirst, TSecond>;
    Out* out;
    size_t ldOut;
    const TFirst* first;
    size_t m1, n1;
    const TSecond* second;
    size_t m2, n2;
    const ConvFlags* flags;
    size_t rowOrigin, colOrigin;
    bool zeroed;

    void operator()(const tbb::blocked_range2d<size_t, size_t>& r) const {
        Out* block = out + (r.rows().begin() - rowOrigin) + (r.cols().begin() - colOrigin) * ldOut;
        // The task zeroes its own block, which it then adds into while the lines are in cache.
        if (!zeroed)
            for (size_t c = 0; c < r.cols().size(); ++c) std::fill_n(block + c * ldOut, r.rows().size(), Out{});
        if constexpr (Sparse)
            sparseWalk2D(*flags, block, ldOut, r.rows().begin(), r.rows().end(), r.cols().begin(), r.cols().end(), first,
                         m1, n1, second, m2, n2);
        else
            convWalk2D(*flags, block, ldOut, r.rows().begin(), r.rows().end(), r.cols().begin(), r.cols().end(), first,
                       m1, n1, second, m2, n2);
    }
};

// The dense blocks (plans for rows and columns built per block) and the sparse ones.
template <class TFirst, class TSecond>
using ParWrapper2DWithPlans = ParWrapper2D<TFirst, TSecond, false>;
template <class TFirst, class TSecond>
using SparseParWrapper2D = ParWrapper2D<TFirst, TSecond, true>;

// Writes the window rows [r0, r1) and columns [c0, c1) of the full convolution; out points at
// the window's first element, ldOut >= r1 - r0 apart. Unless `zeroed`, out is taken as it comes
// and each task zeroes its block first.
template <class TFirst, class TSecond, bool Sparse>
void runConv2D(const ConvFlags& flags, OutputOf<TFirst, TSecond>* out, size_t ldOut, size_t r0, size_t r1, size_t c0,
               size_t c1, const TFirst* first, size_t m1, size_t n1, const TSecond* second, size_t m2, size_t n2,
               bool zeroed = true) {
    using Out = OutputOf<TFirst, TSecond>;
    const size_t rowLimit = std::max<size_t>(m1 + m2, 1) - 1, colLimit = std::max<size_t>(n1 + n2, 1) - 1;
    const size_t rb = std::min(r0, rowLimit), re = std::min(r1, rowLimit);
    const size_t cb = std::min(c0, colLimit), ce = std::min(c1, colLimit);
    if (!zeroed && (rb != r0 || re != r1 || cb != c0 || ce != c1)) {  // parts no task writes
        for (size_t c = c0; c < c1; ++c) std::fill_n(out + (c - c0) * ldOut, r1 - r0, Out{});
        zeroed = true;
    }
    if (rb >= re || cb >= ce) return;
    out += (rb - r0) + (cb - c0) * ldOut;
    using Body = std::conditional_t<Sparse, SparseParWrapper2D<TFirst, TSecond>, ParWrapper2DWithPlans<TFirst, TSecond>>;
    const Body body{out, ldOut, first, m1, n1, second, m2, n2, &flags, rb, cb, zeroed};
    const Limits2D limits = limits2D(kSingleFamily<TFirst, TSecond>, kAnyComplex<TFirst, TSecond>, re - rb, ce - cb);
    const tbb::blocked_range2d<size_t, size_t> range(rb, re, limits.rowGrain, cb, ce, limits.colGrain);
    if (limits.serial) return body(range);
    vlmathdsp::ComputationalThreadScope scope;
    vlcommon::runRange(true, range, body);
}

}  // namespace vfl_conv::parallel
