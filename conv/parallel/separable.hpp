// Runs a separable problem: both passes through line buffers, a workspace per thread; or, when
// no scratch can be had, the direct route that recomputes each intermediate it needs.
#pragma once

#include <algorithm>

#include <oneapi/tbb/blocked_range2d.h>

#include "common/parallel_range.hpp"
#include "conv/parallel/workspace.hpp"
#include "conv/separable.hpp"
#include "module/argument_helpers.hpp"

namespace vfl_conv::parallel {

// From this many elements (window rows times columns of C) the passes go parallel; below it a
// region's start-up costs more than the passes.
constexpr size_t kSeparableParallelMin = 257;
// Row grain of the direct route: each output recomputes its intermediates, so rows are cheap
// to split but columns share nothing.
constexpr size_t kSeparableRowGrain = 4096;
// Column grains: 4 when both sides are below kSeparableSmallSide, so that small problems still
// give every thread work; 8 otherwise, where neighbouring columns share pages.
constexpr size_t kSeparableSmallSide = 32;
constexpr size_t kSeparableSmallColumnGrain = 4, kSeparableColumnGrain = 8;
// The separable passes carry no word of their own in their workspaces.
constexpr uint64_t kNoServerWord = 0;

template <class TV, class TC>
size_t columnGrain(const SeparableProblem<TV, TC>& p) {
    return std::max(p.rows, p.nC) < kSeparableSmallSide ? kSeparableSmallColumnGrain : kSeparableColumnGrain;
}

template <class TV, class TC>
bool goesParallel(const SeparableProblem<TV, TC>& p) {
    return p.rows * p.nC >= kSeparableParallelMin;
}

// The first pass into the result's columns, then the second along each row through line buffers
// of sweepElements(): `scratch` for the caller, a workspace for every other thread.
template <class TV, class TC>
void separablePasses(const SeparableProblem<TV, TC>& p, typename SeparableProblem<TV, TC>::Out* scratch) {
    using Out = typename SeparableProblem<TV, TC>::Out;
    const bool parallel = goesParallel(p);
    const size_t grain = columnGrain(p), cols = p.cols, usedCols = p.usedCols, ld = p.ldResult;
    Out* result = p.result;
    vlcommon::forEachIndex(parallel, size_t(0), usedCols, grain,
                           [&](size_t j) { p.firstPassColumn(j, result + j * ld); });
    auto lineFilter = [&](const tbb::blocked_range<size_t>& r, void* buffer) {
        Out* in = static_cast<Out*>(buffer);
        Out* out = in + kLinesPerSweep * usedCols;
        for (size_t i0 = r.begin(); i0 < r.end(); i0 += kLinesPerSweep) {
            const size_t lines = std::min(kLinesPerSweep, r.end() - i0);
            for (size_t j = 0; j < usedCols; ++j)
                for (size_t l = 0; l < lines; ++l) in[l * usedCols + j] = result[i0 + l + j * ld];
            std::fill(out, out + lines * cols, Out(0));
            for (size_t l = 0; l < lines; ++l) p.secondPassRow(in + l * usedCols, 1, out + l * cols, 1);
            for (size_t j = 0; j < cols; ++j)
                for (size_t l = 0; l < lines; ++l) result[i0 + l + j * ld] = out[l * cols + j];
        }
    };
    if (parallel)
        threadlocal::launchWithWorkspaces<threadlocal::ThreadSafeBufferServer>(
            0, p.rows, grain, lineFilter, kNoServerWord, p.sweepElements() * sizeof(Out), scratch);
    else
        lineFilter(tbb::blocked_range<size_t>(0, p.rows), scratch);
    for (size_t j = cols; j < usedCols; ++j) std::fill(result + j * ld, result + j * ld + p.rows, Out(0));
}

// Without scratch: each output recomputes the intermediates it needs, in the order of the two
// passes, so it has the same bits. The body over blocks of rows and columns.
template <class TV, class TC>
struct SeparableParWrapper2D {
    const SeparableProblem<TV, TC>* problem;

    void operator()(const tbb::blocked_range2d<size_t, size_t>& r) const {
        using Out = typename SeparableProblem<TV, TC>::Out;
        const SeparableProblem<TV, TC>& p = *problem;
        for (size_t c = r.cols().begin(); c < r.cols().end(); ++c)
            for (size_t i = r.rows().begin(); i < r.rows().end(); ++i) {
                const size_t q = p.colBegin + c;
                Out acc(0);
                if (q >= p.colEnd || p.rowBegin + i >= p.rowEnd) continue;
                if (p.longCols) {  // taps are b
                    const size_t lo = q + 1 > p.usedCols ? q + 1 - p.usedCols : 0, hi = std::min(p.nb - 1, q);
                    for (size_t t = lo; t <= hi && lo <= hi; ++t) multiplyAdd(acc, p.b[t], p.intermediate(i, q - t));
                } else {  // taps are the intermediate row
                    const size_t lo = q + 1 > p.nb ? q + 1 - p.nb : 0, hi = std::min(p.usedCols - 1, q);
                    for (size_t t = lo; t <= hi && lo <= hi; ++t) multiplyAdd(acc, p.intermediate(i, t), p.b[q - t]);
                }
                p.result[i + c * p.ldResult] = acc;
            }
    }
};

template <class TV, class TC>
void separableDirect(const SeparableProblem<TV, TC>& p) {
    const SeparableParWrapper2D<TV, TC> body{&p};
    const tbb::blocked_range2d<size_t, size_t> range(0, p.rows, kSeparableRowGrain, 0, p.cols, columnGrain(p));
    if (!goesParallel(p)) return body(range);
    vlmathdsp::ComputationalThreadScope scope;
    vlcommon::runRange(true, range, body);
}

// The passes, or the direct route when the scratch cannot be had.
template <class TV, class TC>
void runSeparable(const SeparableProblem<TV, TC>& p) {
    using Out = typename SeparableProblem<TV, TC>::Out;
    if (p.empty()) return;
    Out* scratch = static_cast<Out*>(threadlocal::ThreadSafeBufferServer::allocate(p.sweepElements() * sizeof(Out)));
    if (!scratch) return separableDirect(p);
    struct Release {
        Out* p;
        ~Release() { threadlocal::ThreadSafeBufferServer::release(p); }
    } release{scratch};
    if (!goesParallel(p)) return separablePasses(p, scratch);
    vlmathdsp::ComputationalThreadScope scope;
    separablePasses(p, scratch);
}

}  // namespace vfl_conv::parallel
