// The window of the full convolution that a shape option asks for.
#pragma once

#include <algorithm>
#include <cstddef>

#include "module/argument_helpers.hpp"
#include "module/checked_size.hpp"

namespace vfl_conv {

struct ConvWindow {
    size_t outRows, outCols;
    size_t rowStart, rowEnd;  // inclusive, in coordinates of the full result
    size_t colStart, colEnd;
};

struct WindowSide {
    size_t count, start, end;
};

// One dimension: sizes a (first input) and b (second input). Unsigned arithmetic throughout:
// an empty window has end = start - 1.
inline WindowSide windowSide(vlmathdsp::ShapeKind shape, size_t a, size_t b) {
    WindowSide s;
    if (shape == vlmathdsp::SHAPE_SAME) {
        s.count = a;
        s.start = b >> 1;
    } else if (shape == vlmathdsp::SHAPE_FULL) {
        // Not a + b - 1: an empty side gives the other side's size.
        const size_t sum = vlmathdsp::addSizes(a, b);
        s.count = sum < 2 ? 0 : std::max({a, b, sum - 1});
        s.start = 0;
    } else {
        const size_t d = b < 2 ? 0 : b - 1;
        s.count = a > d ? a - d : 0;
        s.start = b - 1;
    }
    s.end = s.start - 1 + s.count;
    if (shape == vlmathdsp::SHAPE_VALID) s.end = a - 1;
    return s;
}

inline ConvWindow makeWindow(vlmathdsp::ShapeKind shape, size_t mA, size_t nA, size_t mB, size_t nB) {
    const WindowSide r = windowSide(shape, mA, mB), c = windowSide(shape, nA, nB);
    return {r.count, c.count, r.start, r.end, c.start, c.end};
}

}  // namespace vfl_conv
