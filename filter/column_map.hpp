// The one template that spreads a filter kernel over a range: over whole columns, one kernel
// call per column with the column's operands; or over chunks of one column, one call per chunk.
// The arguments are the kernel's own, in its order, with markers where they depend on the range.
#pragma once

#include <tuple>
#include <type_traits>

#include <oneapi/tbb/blocked_range.h>

#include "filter/kernels/iir.hpp"
#include "filter/kernels/iir_lanes.hpp"

namespace vfl_filter {

// An operand that moves with the column: column c starts at data + step * c; null stays null.
template <class P>
struct PerColumn {
    P data;
    i64 step;
};

// A column's operand of `length` elements, real or complex interleaved.
template <class P>
PerColumn<P> perColumn(P data, bool complex, i64 length) {
    return {data, (complex ? 2 : 1) * length};
}

// The bounds of the chunk a task runs, as the kernel's start and end.
struct ChunkStart {};
struct ChunkEnd {};

template <class A>
const A& bound(const A& a, i64, const tbb::blocked_range<i64>&) {
    return a;
}
template <class P>
P bound(const PerColumn<P>& a, i64 c, const tbb::blocked_range<i64>&) {
    return a.data ? a.data + a.step * c : nullptr;
}
inline i64 bound(ChunkStart, i64, const tbb::blocked_range<i64>& r) { return r.begin(); }
inline i64 bound(ChunkEnd, i64, const tbb::blocked_range<i64>& r) { return r.end(); }

// Chunks: the range indexes outputs of one column. Columns: the range indexes columns, run
// whole in ascending order.
enum class MapOver { Chunks, Columns };

template <MapOver Over, class Kernel, class... Args>
struct KernelMap {
    Kernel kernel;
    std::tuple<Args...> args;

    void operator()(const tbb::blocked_range<i64>& r) const {
        auto call = [&](i64 c) { std::apply([&](const auto&... a) { kernel(bound(a, c, r)...); }, args); };
        if constexpr (Over == MapOver::Chunks) {
            call(0);
        } else {
            for (i64 c = r.begin(); c < r.end(); ++c) call(c);
        }
    }
};

// The recursive kernel over whole columns, kIirLanes of them in step where the register form
// takes them (real data, na == nb), the rest one by one.
template <class... Args>
struct KernelMap<MapOver::Columns, vlFilterIIR, Args...> {
    vlFilterIIR kernel;
    std::tuple<Args...> args;

    void operator()(const tbb::blocked_range<i64>& r) const {
        const auto& [na, a, nb, b, L, xCols, nz, ziCols, yCols, aC, bC, xC, ziC, yC] = args;
        using T = std::remove_cv_t<std::remove_pointer_t<std::decay_t<decltype(a)>>>;
        const bool real = !aC && !bC && !xC && !ziC && !yC;
        i64 c = r.begin();
        for (; real && c + kIirLanes <= r.end(); c += kIirLanes) {
            const T *xs[kIirLanes], *zs[kIirLanes];
            T* ys[kIirLanes];
            for (int l = 0; l < kIirLanes; ++l)
                xs[l] = bound(xCols, c + l, r), zs[l] = bound(ziCols, c + l, r), ys[l] = bound(yCols, c + l, r);
            if (!iirLanes(na, a, nb, b, L, xs, nz, zs, ys)) break;
        }
        for (; c < r.end(); ++c)
            std::apply([&](const auto&... arg) { kernel(bound(arg, c, r)...); }, args);
    }
};

// The maps by the names of their uses: mapCol1FIR spreads the FIR kernels (outputs or final
// conditions) over chunks of one column; mapColsFIR, mapColsIIR and mapColsIIR_FC over columns.
template <class Kernel, class... Args>
using mapCol1FIR = KernelMap<MapOver::Chunks, Kernel, Args...>;
template <class Kernel, class... Args>
using mapColsFIR = KernelMap<MapOver::Columns, Kernel, Args...>;
template <class... Args>
using mapColsIIR = KernelMap<MapOver::Columns, vlFilterIIR, Args...>;
template <class... Args>
using mapColsIIR_FC = KernelMap<MapOver::Columns, vlFilterIIR_FC, Args...>;

template <class Kernel, class... Args>
mapCol1FIR<Kernel, Args...> overChunks(Kernel kernel, Args... args) {
    return {kernel, {args...}};
}

// mapColsFIR, or mapColsIIR and mapColsIIR_FC for the recursive kernels.
template <class Kernel, class... Args>
KernelMap<MapOver::Columns, Kernel, Args...> overColumns(Kernel kernel, Args... args) {
    return {kernel, {args...}};
}

}  // namespace vfl_filter
