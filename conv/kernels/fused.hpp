// Register-blocked sweeps for the rows where every tap overlaps. Each output keeps its order of
// sums (pairs, then taps, one rounding per product and per sum), so these sweeps give the bits
// that tap-by-tap axpy runs give; they only load and store each output once per sweep.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "common/vectors.hpp"
#include "conv/kernels/arith.hpp"

namespace vfl_conv {

namespace detail {

using vlcommon::loadVec;
using vlcommon::storeVec;
using vlcommon::Vec;

// Vectors of accumulators per block: enough independent sums to hide the adder's latency
// without spilling (conv2 2048^2 by 7x7 double: 4 vectors 11.0 ms, 8 10.2 ms, 16 14.2 ms).
constexpr size_t kFusedVectors = 8;

// The real, single-type form of fusedTapRows over blocks of NV vectors from i0; returns where
// it stopped.
template <size_t NV, class T>
size_t fusedTapBlocks(size_t i0, T* y, size_t count, const T* xBase, ptrdiff_t xPairStep, const T* gBase,
                      ptrdiff_t gPairStep, size_t pairs, size_t taps) {
    constexpr size_t L = sizeof(Vec<T>) / sizeof(T), B = L * NV;
    for (; i0 + B <= count; i0 += B) {
        Vec<T> acc[NV];
#pragma GCC unroll 8
        for (size_t v = 0; v < NV; ++v) acc[v] = loadVec(y + i0 + v * L);
        for (size_t p = 0; p < pairs; ++p) {
            const T* x = xBase + ptrdiff_t(p) * xPairStep + i0;
            const T* g = gBase + ptrdiff_t(p) * gPairStep;
            for (size_t t = 0; t < taps; ++t) {
                const Vec<T> tap = Vec<T>{} + g[t];
                const T* xt = x - ptrdiff_t(t);
#pragma GCC unroll 8
                for (size_t v = 0; v < NV; ++v) acc[v] = acc[v] + tap * loadVec(xt + v * L);
            }
        }
#pragma GCC unroll 8
        for (size_t v = 0; v < NV; ++v) storeVec(y + i0 + v * L, acc[v]);
    }
    return i0;
}

// The real, single-type form of fusedDotRows over blocks of NV vectors from i0.
template <size_t NV, class T>
size_t fusedDotBlocks(size_t i0, T* y, size_t count, const T* x, const T* g, size_t taps) {
    constexpr size_t L = sizeof(Vec<T>) / sizeof(T), B = L * NV;
    for (; i0 + B <= count; i0 += B) {
        Vec<T> acc[NV] = {};
        for (size_t t = taps; t-- > 0;) {
            const Vec<T> tap = Vec<T>{} + g[t];
            const T* xt = x + i0 - ptrdiff_t(t);
#pragma GCC unroll 8
            for (size_t v = 0; v < NV; ++v) acc[v] = acc[v] + tap * loadVec(xt + v * L);
        }
#pragma GCC unroll 8
        for (size_t v = 0; v < NV; ++v) storeVec(y + i0 + v * L, loadVec(y + i0 + v * L) + acc[v]);
    }
    return i0;
}

// Output columns swept side by side, and vectors per column in a block: an output column adds
// its pair p from the first operand's column o + p, so each column loaded serves up to
// kFusedColumns outputs. With 32 vector registers (AVX-512) 4 x 4 accumulators fit, else 4 x 2.
constexpr size_t kFusedColumns = 4;
#ifdef __AVX512F__
constexpr size_t kColumnVectors = 4;
#else
constexpr size_t kColumnVectors = 2;
#endif

// kFusedColumns outputs, columns ldY apart, over blocks of NV vectors from row 0; returns where
// it stopped. Output o, pair p reads x at xBase + (o + p) * xPairStep and g at gBase + p *
// gPairStep; each output adds its pairs ascending, its taps ascending, as fusedTapBlocks does.
template <size_t NV, class T>
size_t fusedColumnBlocks(T* y, ptrdiff_t ldY, size_t count, const T* xBase, ptrdiff_t xPairStep, const T* gBase,
                         ptrdiff_t gPairStep, size_t pairs, size_t taps) {
    constexpr size_t C = kFusedColumns, L = sizeof(Vec<T>) / sizeof(T), B = L * NV;
    size_t i0 = 0;
    for (; i0 + B <= count; i0 += B) {
        Vec<T> acc[C][NV];
#pragma GCC unroll 4
        for (size_t o = 0; o < C; ++o)
#pragma GCC unroll 4
            for (size_t v = 0; v < NV; ++v) acc[o][v] = loadVec(y + ptrdiff_t(o) * ldY + i0 + v * L);
        for (size_t q = 0; q + 1 < pairs + C; ++q) {
            const T* x = xBase + ptrdiff_t(q) * xPairStep + i0;
            for (size_t t = 0; t < taps; ++t) {
                Vec<T> xv[NV];
#pragma GCC unroll 4
                for (size_t v = 0; v < NV; ++v) xv[v] = loadVec(x - ptrdiff_t(t) + v * L);
#pragma GCC unroll 4
                for (size_t o = 0; o < C; ++o) {
                    const size_t p = q - o;  // wraps above pairs when o > q
                    if (p >= pairs) continue;
                    const Vec<T> tap = Vec<T>{} + gBase[ptrdiff_t(p) * gPairStep + ptrdiff_t(t)];
#pragma GCC unroll 4
                    for (size_t v = 0; v < NV; ++v) acc[o][v] = acc[o][v] + tap * xv[v];
                }
            }
        }
#pragma GCC unroll 4
        for (size_t o = 0; o < C; ++o)
#pragma GCC unroll 4
            for (size_t v = 0; v < NV; ++v) storeVec(y + ptrdiff_t(o) * ldY + i0 + v * L, acc[o][v]);
    }
    return i0;
}

}  // namespace detail

// Outputs per block of the generic sweep (complex and mixed pairs, ragged ends): 1 KiB of
// accumulators, which stay in L1 (conv2 1024^2 complex by 7x7: 512 B 10.6 ms, 1 KiB 9.8 ms;
// 2048^2 single by 7x7 double 8.1 and 7.3 ms; 2 and 4 KiB within noise of 1 KiB).
template <class Out>
constexpr size_t kFusedBlock = 1024 / sizeof(Out);

// y[i] += sum over pairs p (ascending), taps t (ascending) of g_p[t] * x_p[i - t], for i in
// [0, count). Pair p reads x at xBase + p * xPairStep and g at gBase + p * gPairStep.
template <class Out, class F, class S>
void fusedTapRows(Out* y, size_t count, const F* xBase, ptrdiff_t xPairStep, const S* gBase, ptrdiff_t gPairStep,
                  size_t pairs, size_t taps) {
    constexpr size_t B = kFusedBlock<Out>;
    size_t i0 = 0;
    if constexpr (std::is_floating_point_v<Out> && std::is_same_v<Out, F> && std::is_same_v<Out, S>)
        i0 = detail::fusedTapBlocks<1>(
            detail::fusedTapBlocks<detail::kFusedVectors>(0, y, count, xBase, xPairStep, gBase, gPairStep, pairs, taps),
            y, count, xBase, xPairStep, gBase, gPairStep, pairs, taps);
    for (; i0 < count; i0 += B) {
        const size_t n = count - i0 < B ? count - i0 : B;
        Out acc[B];
        for (size_t i = 0; i < n; ++i) acc[i] = y[i0 + i];
        for (size_t p = 0; p < pairs; ++p) {
            const F* x = xBase + ptrdiff_t(p) * xPairStep + i0;
            const S* g = gBase + ptrdiff_t(p) * gPairStep;
            for (size_t t = 0; t < taps; ++t) {
                const S tap = g[t];
                const F* xt = x - ptrdiff_t(t);
                if (n == B)  // a whole block: a constant trip count for the vectoriser
                    for (size_t i = 0; i < B; ++i) multiplyAdd(acc[i], tap, xt[i]);
                else
                    for (size_t i = 0; i < n; ++i) multiplyAdd(acc[i], tap, xt[i]);
            }
        }
        for (size_t i = 0; i < n; ++i) y[i0 + i] = acc[i];
    }
}

// fusedTapRows for `columns` output columns ldY apart, output column o reading its pairs from
// xBase + o * xPairStep on: the same sums, with each first-operand column loaded once for up to
// kFusedColumns outputs.
template <class Out, class F, class S>
void fusedTapColumns(Out* y, ptrdiff_t ldY, size_t columns, size_t count, const F* xBase, ptrdiff_t xPairStep,
                     const S* gBase, ptrdiff_t gPairStep, size_t pairs, size_t taps) {
    size_t c = 0;
    // Fewer pairs than columns in a group: the loads saved do not pay for the group's ragged
    // start and end (conv2 2048^2 single by 3x3: 2.34 ms column by column, 2.53 ms in groups).
    if constexpr (std::is_floating_point_v<Out> && std::is_same_v<Out, F> && std::is_same_v<Out, S>) {
        for (; pairs >= detail::kFusedColumns && c + detail::kFusedColumns <= columns; c += detail::kFusedColumns) {
            Out* yc = y + ptrdiff_t(c) * ldY;
            const F* xc = xBase + ptrdiff_t(c) * xPairStep;
            const size_t done = detail::fusedColumnBlocks<detail::kColumnVectors>(yc, ldY, count, xc, xPairStep, gBase,
                                                                                  gPairStep, pairs, taps);
            if (done < count)
                for (size_t o = 0; o < detail::kFusedColumns; ++o)
                    fusedTapRows(yc + ptrdiff_t(o) * ldY + done, count - done, xc + ptrdiff_t(o) * xPairStep + done,
                                 xPairStep, gBase, gPairStep, pairs, taps);
        }
    }
    for (; c < columns; ++c)
        fusedTapRows(y + ptrdiff_t(c) * ldY, count, xBase + ptrdiff_t(c) * xPairStep, xPairStep, gBase, gPairStep, pairs,
                     taps);
}

// The rows [r0, r1) where only some taps overlap, y pointing at row r0: for each row, pairs
// ascending, then the overlapping taps ascending, in the order of the sweeps above. x of pair p
// is the whole first-operand column (m1 rows) at xBase + p * xPairStep.
template <class Out, class F, class S>
void partialTapRows(Out* y, size_t r0, size_t r1, const F* xBase, ptrdiff_t xPairStep, const S* gBase,
                    ptrdiff_t gPairStep, size_t pairs, size_t m1, size_t m2) {
    for (size_t r = r0; r < r1; ++r) {
        const size_t tLo = r + 1 > m1 ? r + 1 - m1 : 0, tHi = std::min(m2, r + 1);
        Out acc = y[r - r0];
        for (size_t p = 0; p < pairs; ++p) {
            const F* x = xBase + ptrdiff_t(p) * xPairStep;
            const S* g = gBase + ptrdiff_t(p) * gPairStep;
            for (size_t t = tLo; t < tHi; ++t) multiplyAdd(acc, g[t], x[r - t]);
        }
        y[r - r0] = acc;
    }
}

// y[i] += (sum over t descending of g[t] * x[i - t]), the sum started from zero: the order of
// reversedDot, for outputs whose overlap is the whole of g.
template <class Out, class F, class S>
void fusedDotRows(Out* y, size_t count, const F* x, const S* g, size_t taps) {
    constexpr size_t B = kFusedBlock<Out>;
    size_t start = 0;
    if constexpr (std::is_floating_point_v<Out> && std::is_same_v<Out, F> && std::is_same_v<Out, S>)
        start = detail::fusedDotBlocks<1>(detail::fusedDotBlocks<detail::kFusedVectors>(0, y, count, x, g, taps), y,
                                          count, x, g, taps);
    for (size_t i0 = start; i0 < count; i0 += B) {
        const size_t n = count - i0 < B ? count - i0 : B;
        Out acc[B] = {};
        for (size_t t = taps; t-- > 0;) {
            const S tap = g[t];
            const F* xt = x + i0 - ptrdiff_t(t);
            if (n == B)
                for (size_t i = 0; i < B; ++i) multiplyAdd(acc[i], tap, xt[i]);
            else
                for (size_t i = 0; i < n; ++i) multiplyAdd(acc[i], tap, xt[i]);
        }
        for (size_t i = 0; i < n; ++i) y[i0 + i] += acc[i];
    }
}

}  // namespace vfl_conv
