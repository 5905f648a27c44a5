// Register-blocked sweeps for the rows where every tap overlaps. Each output keeps its order of
// sums (pairs, then taps, one rounding per product and per sum), so these sweeps give the bits
// that tap-by-tap axpy runs give; they only load and store each output once per sweep.
#pragma once

#include <cstddef>

#include "conv/kernels/arith.hpp"

namespace vfl_conv {

// Outputs per register block: 512 bytes of accumulators.
template <class Out>
constexpr size_t kFusedBlock = 512 / sizeof(Out);

// y[i] += sum over pairs p (ascending), taps t (ascending) of g_p[t] * x_p[i - t], for i in
// [0, count). Pair p reads x at xBase + p * xPairStep and g at gBase + p * gPairStep.
template <class Out, class F, class S>
void fusedTapRows(Out* y, size_t count, const F* xBase, ptrdiff_t xPairStep, const S* gBase, ptrdiff_t gPairStep,
                  size_t pairs, size_t taps) {
    constexpr size_t B = kFusedBlock<Out>;
    size_t i0 = 0;
    for (; i0 + B <= count; i0 += B) {
        Out acc[B];
        for (size_t i = 0; i < B; ++i) acc[i] = y[i0 + i];
        for (size_t p = 0; p < pairs; ++p) {
            const F* x = xBase + ptrdiff_t(p) * xPairStep + i0;
            const S* g = gBase + ptrdiff_t(p) * gPairStep;
            for (size_t t = 0; t < taps; ++t) {
                const S tap = g[t];
                const F* xt = x - ptrdiff_t(t);
                for (size_t i = 0; i < B; ++i) multiplyAdd(acc[i], tap, xt[i]);
            }
        }
        for (size_t i = 0; i < B; ++i) y[i0 + i] = acc[i];
    }
    const size_t rest = count - i0;
    if (rest == 0) return;
    Out acc[B];
    for (size_t i = 0; i < rest; ++i) acc[i] = y[i0 + i];
    for (size_t p = 0; p < pairs; ++p) {
        const F* x = xBase + ptrdiff_t(p) * xPairStep + i0;
        const S* g = gBase + ptrdiff_t(p) * gPairStep;
        for (size_t t = 0; t < taps; ++t) {
            const S tap = g[t];
            const F* xt = x - ptrdiff_t(t);
            for (size_t i = 0; i < rest; ++i) multiplyAdd(acc[i], tap, xt[i]);
        }
    }
    for (size_t i = 0; i < rest; ++i) y[i0 + i] = acc[i];
}

// y[i] += (sum over t descending of g[t] * x[i - t]), the sum started from zero: the order of
// reversedDot, for outputs whose overlap is the whole of g.
template <class Out, class F, class S>
void fusedDotRows(Out* y, size_t count, const F* x, const S* g, size_t taps) {
    constexpr size_t B = kFusedBlock<Out>;
    for (size_t i0 = 0; i0 < count; i0 += B) {
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
