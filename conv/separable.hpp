// The separable passes: a column vector `a` along the rows of C, then a row vector `b` along
// the columns, through a scratch intermediate; and the direct route when no scratch is had.
#pragma once

#include <algorithm>
#include <cstring>

#include <oneapi/tbb/blocked_range2d.h>

#include "conv/kernels/conv_op.hpp"
#include "conv/parallel/workspace.hpp"
#include "conv/window.hpp"
#include "module/argument_helpers.hpp"

namespace vfl_conv {

// Separable runs only go parallel from this many elements (window rows times columns of C).
constexpr size_t kSeparableParallelMin = 257;
constexpr size_t kSeparableRowGrain = 4096;
constexpr size_t kSeparableSmallSide = 32;
// Rows that the second pass moves through its line buffers together: a row of the result is a
// strided walk, and neighbouring rows share its cache lines and pages.
constexpr size_t kLinesPerSweep = 8;

enum class SeparableForm { InPlace, Temporary };

// One separable problem: vectors of element type TV, C of element type TC, result Out.
template <class TV, class TC>
struct SeparableProblem {
    using Out = OutputOf<TV, TC>;

    const TV *a, *b;
    size_t na, nb;
    const TC* C;
    size_t mC, nC;
    Out* result;     // zeroed, rows by at least max(cols, usedCols)
    size_t ldResult;  // rows of the result
    ConvWindow window;
    bool longRows, longCols;
    ConvFlags firstFlags, secondFlags;

    // Geometry after the move of the origin to the first used row and column of C.
    size_t rows, cols, firstRow, firstCol, usedRows, usedCols;
    size_t rowBegin, rowEnd, colBegin, colEnd;  // ranges of the two passes, shifted

    void plan() {
        const ConvWindow& w = window;
        rows = w.outRows;
        cols = w.outCols;
        firstRow = w.rowStart + 1 > na ? w.rowStart + 1 - na : 0;
        firstCol = w.colStart + 1 > nb ? w.colStart + 1 - nb : 0;
        usedRows = std::min(mC, w.rowEnd + 1) > firstRow ? std::min(mC, w.rowEnd + 1) - firstRow : 0;
        usedCols = std::min(nC, w.colEnd + 1) > firstCol ? std::min(nC, w.colEnd + 1) - firstCol : 0;
        const size_t rowLimit = std::max<size_t>(mC + na, 1) - 1, colLimit = std::max<size_t>(nC + nb, 1) - 1;
        rowBegin = w.rowStart - firstRow;
        rowEnd = std::min(w.rowEnd + 1, rowLimit) - firstRow;
        colBegin = w.colStart - firstCol;
        colEnd = std::min(w.colEnd + 1, colLimit) - firstCol;
    }

    bool empty() const { return usedRows == 0 || usedCols == 0 || rowBegin >= rowEnd || colBegin >= colEnd; }

    size_t intermediateElements(SeparableForm form) const {
        if (na == 0 || nb == 0 || empty()) return 0;
        return form == SeparableForm::InPlace ? kLinesPerSweep * (cols + usedCols) : rows * usedCols;
    }

    // Column j of the used part of C along the rows, into `out` (position rowBegin first).
    void firstPassColumn(size_t j, Out* out) const {
        const TC* column = C + firstRow + (firstCol + j) * mC;
        if (longRows)
            VELTRAConvOp<TC, TV, KIND_AXPY>()(firstFlags, out, rowBegin, rowEnd, 1, column, usedRows, 1, a, na, 1);
        else
            VELTRAConvOp<TV, TC, KIND_AXPY>()(firstFlags, out, rowBegin, rowEnd, 1, a, na, 1, column, usedRows, 1);
    }

    // One intermediate row (usedCols, at the given stride) along the columns into `out`.
    void secondPassRow(const Out* line, ptrdiff_t stride, Out* out, ptrdiff_t outStride) const {
        if (longCols)
            VELTRAConvOp<Out, TV, KIND_AXPY>()(secondFlags, out, colBegin, colEnd, outStride, line, usedCols, stride,
                                               b, nb, 1);
        else
            VELTRAConvOp<TV, Out, KIND_AXPY>()(secondFlags, out, colBegin, colEnd, outStride, b, nb, 1, line,
                                               usedCols, stride);
    }

    template <class Body>
    static void overRange(bool parallel, size_t end, size_t grain, const Body& body) {
        if (parallel && end > grain)
            tbb::parallel_for(tbb::blocked_range<size_t>(0, end, grain), body, tbb::auto_partitioner());
        else
            body(tbb::blocked_range<size_t>(0, end));
    }

    size_t columnGrain() const { return std::max(rows, nC) < kSeparableSmallSide ? 4 : 8; }
    bool goesParallel() const { return rows * nC >= kSeparableParallelMin; }

    // Both passes through `scratch` (intermediateElements of the form); false when there is none.
    void twoPasses(SeparableForm form, Out* scratch) const {
        const bool parallel = goesParallel();
        const size_t grain = columnGrain();
        if (form == SeparableForm::InPlace) {
            overRange(parallel, usedCols, grain, [&](const tbb::blocked_range<size_t>& r) {
                for (size_t j = r.begin(); j < r.end(); ++j) firstPassColumn(j, result + j * ldResult);
            });
            auto lineFilter = [&](const tbb::blocked_range<size_t>& r, void* buffer) {
                Out* in = static_cast<Out*>(buffer);
                Out* out = in + kLinesPerSweep * usedCols;
                for (size_t i0 = r.begin(); i0 < r.end(); i0 += kLinesPerSweep) {
                    const size_t lines = std::min(kLinesPerSweep, r.end() - i0);
                    for (size_t j = 0; j < usedCols; ++j)
                        for (size_t l = 0; l < lines; ++l) in[l * usedCols + j] = result[i0 + l + j * ldResult];
                    std::fill(out, out + lines * cols, Out(0));
                    for (size_t l = 0; l < lines; ++l) secondPassRow(in + l * usedCols, 1, out + l * cols, 1);
                    for (size_t j = 0; j < cols; ++j)
                        for (size_t l = 0; l < lines; ++l) result[i0 + l + j * ldResult] = out[l * cols + j];
                }
            };
            const size_t bytes = kLinesPerSweep * (cols + usedCols) * sizeof(Out);
            if (parallel)
                parallel::threadlocal::launchWithWorkspaces<parallel::threadlocal::ThreadSafeBufferServer>(
                    0, rows, grain, lineFilter, 0, bytes, scratch);
            else
                lineFilter(tbb::blocked_range<size_t>(0, rows), scratch);
            for (size_t j = cols; j < usedCols; ++j) std::fill(result + j * ldResult, result + j * ldResult + rows, Out(0));
        } else {
            std::fill(scratch, scratch + rows * usedCols, Out(0));
            overRange(parallel, usedCols, grain, [&](const tbb::blocked_range<size_t>& r) {
                for (size_t j = r.begin(); j < r.end(); ++j) firstPassColumn(j, scratch + j * rows);
            });
            overRange(parallel, rows, grain, [&](const tbb::blocked_range<size_t>& r) {
                for (size_t i = r.begin(); i < r.end(); ++i)
                    secondPassRow(scratch + i, ptrdiff_t(rows), result + i, ptrdiff_t(ldResult));
            });
        }
    }

    // The intermediate value at (window row i, used column j), summed as the first pass sums it.
    Out intermediate(size_t i, size_t j) const {
        const size_t p = rowBegin + i;
        const TC* column = C + firstRow + (firstCol + j) * mC;
        Out acc(0);
        if (longRows) {  // taps are a
            const size_t lo = p + 1 > usedRows ? p + 1 - usedRows : 0, hi = std::min(na - 1, p);
            for (size_t t = lo; t <= hi && lo <= hi; ++t) multiplyAdd(acc, a[t], column[p - t]);
        } else {  // taps are the column
            const size_t lo = p + 1 > na ? p + 1 - na : 0, hi = std::min(usedRows - 1, p);
            for (size_t t = lo; t <= hi && lo <= hi; ++t) multiplyAdd(acc, column[t], a[p - t]);
        }
        return acc;
    }

    // Without scratch: each output recomputes the intermediates it needs, in the order of the
    // two passes, so it has the same bits.
    void direct() const {
        auto body = [&](const tbb::blocked_range2d<size_t, size_t>& r) {
            for (size_t c = r.cols().begin(); c < r.cols().end(); ++c)
                for (size_t i = r.rows().begin(); i < r.rows().end(); ++i) {
                    const size_t q = colBegin + c;
                    Out acc(0);
                    if (q >= colEnd || rowBegin + i >= rowEnd) continue;
                    if (longCols) {  // taps are b
                        const size_t lo = q + 1 > usedCols ? q + 1 - usedCols : 0, hi = std::min(nb - 1, q);
                        for (size_t t = lo; t <= hi && lo <= hi; ++t) multiplyAdd(acc, b[t], intermediate(i, q - t));
                    } else {  // taps are the intermediate row
                        const size_t lo = q + 1 > nb ? q + 1 - nb : 0, hi = std::min(usedCols - 1, q);
                        for (size_t t = lo; t <= hi && lo <= hi; ++t) multiplyAdd(acc, intermediate(i, t), b[q - t]);
                    }
                    result[i + c * ldResult] = acc;
                }
        };
        const tbb::blocked_range2d<size_t, size_t> range(0, rows, kSeparableRowGrain, 0, cols, columnGrain());
        if (goesParallel()) {
            vlmathdsp::ComputationalThreadScope scope;
            tbb::task_group_context context;
            tbb::parallel_for(range, body, tbb::auto_partitioner(), context);
        } else {
            body(range);
        }
    }

    // Runs the form, or the direct route when the scratch cannot be had.
    void run(SeparableForm form) const {
        if (empty()) return;
        const size_t elements = intermediateElements(form);
        Out* scratch = static_cast<Out*>(parallel::threadlocal::ThreadSafeBufferServer::allocate(elements * sizeof(Out)));
        if (!scratch) {
            direct();
            return;
        }
        struct Release {
            Out* p;
            ~Release() { parallel::threadlocal::ThreadSafeBufferServer::release(p); }
        } release{scratch};
        if (goesParallel()) {
            vlmathdsp::ComputationalThreadScope scope;
            twoPasses(form, scratch);
        } else {
            twoPasses(form, scratch);
        }
    }
};

}  // namespace vfl_conv
