// The real FIR in gather form: each output sums its taps itself, newest tap last, from the value
// already there (zero or an initial condition), one rounding per product and per sum. That is
// the order of the scatter form (oldest sample first), so the bits are the same; a block of
// outputs stays in registers while the taps stream past.
#pragma once

#include <algorithm>
#include <cstddef>
#include <type_traits>

#include "common/vectors.hpp"

namespace vfl_filter {

namespace detail {

// Vectors of outputs per block: enough independent sums to hide the adder's latency.
constexpr size_t kFirVectors = 8;

// out[i] for i in [i0, end) by blocks of NV vectors, every tap overlapping (i >= nb - 1);
// returns where it stopped.
template <size_t NV, class T>
size_t firBlocks(size_t i0, size_t end, T* out, const T* x, const T* b, size_t nb) {
    using V = vlcommon::Vec<T>;
    constexpr size_t L = vlcommon::kLanes<T>, B = L * NV;
    for (; i0 + B <= end; i0 += B) {
        V acc[NV];
#pragma GCC unroll 8
        for (size_t v = 0; v < NV; ++v) acc[v] = vlcommon::loadVec(out + i0 + v * L);
        for (size_t t = nb; t-- > 0;) {
            const V tap = V{} + b[t];
            const T* xt = x + i0 - t;
#pragma GCC unroll 8
            for (size_t v = 0; v < NV; ++v) acc[v] = acc[v] + tap * vlcommon::loadVec(xt + v * L);
        }
#pragma GCC unroll 8
        for (size_t v = 0; v < NV; ++v) vlcommon::storeVec(out + i0 + v * L, acc[v]);
    }
    return i0;
}

}  // namespace detail

// out[i] += sum over taps t (descending) of b[t] x[i - t], for i in [start, end) of a column
// whose samples are x[0 ...]; taps before the column's first sample are absent.
template <class T>
void firGather(size_t nb, const T* b, const T* x, T* out, size_t start, size_t end) {
    if (nb == 0) return;
    const size_t full = std::min(std::max(start, nb - 1), end);
    size_t i = full;
    if constexpr (std::is_same_v<T, float> || std::is_same_v<T, double>)
        i = detail::firBlocks<1>(detail::firBlocks<detail::kFirVectors>(full, end, out, x, b, nb), end, out, x, b, nb);
    const auto one = [&](size_t j) {
        T acc = out[j];
        for (size_t t = std::min(j, nb - 1) + 1; t-- > 0;) acc = acc + b[t] * x[j - t];
        out[j] = acc;
    };
    for (size_t j = start; j < full; ++j) one(j);
    for (; i < end; ++i) one(i);
}

}  // namespace vfl_filter
