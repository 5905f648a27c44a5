// One separable problem: a column vector `a` along the rows of C, then a row vector `b` along
// the columns. Its geometry and the two passes over one column or row; conv/parallel/ runs them.
#pragma once

#include <algorithm>

#include "conv/kernels/conv_op.hpp"
#include "conv/window.hpp"

namespace vfl_conv {

// Rows that the second pass moves through its line buffers together: a row of the result is a
// strided walk, and neighbouring rows share its cache lines and pages (2048^2 double, 31-tap
// separable: 4 rows 19.3 ms, 8 14.8 ms, 16 16.1 ms).
constexpr size_t kLinesPerSweep = 8;

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

    // Line buffers of the second pass: kLinesPerSweep rows in and out.
    size_t sweepElements() const { return na == 0 || nb == 0 || empty() ? 0 : kLinesPerSweep * (cols + usedCols); }

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
};

}  // namespace vfl_conv
