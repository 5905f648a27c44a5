// When a region goes parallel, and with which grain: decided by sizes alone, never by the
// thread count. Pairs with a single operand use the single family; double with double uses the
// double family, whose numbers are half, as are those of complex pairs: an output costs about
// twice as much there, so half as many make a task of the same length.
#pragma once

#include <cstddef>

#include "conv/kernels/arith.hpp"
#include "conv/kernels/conv_op.hpp"

namespace vfl_conv::parallel {

template <class TFirst, class TSecond>
constexpr bool kSingleFamily = std::is_same_v<Real<TFirst>, float> || std::is_same_v<Real<TSecond>, float>;
template <class TFirst, class TSecond>
constexpr bool kAnyComplex = IsComplex<TFirst>::value || IsComplex<TSecond>::value;

// Outputs of a real single-precision run that stay on one thread: kinds 0 and 3 sweep long
// runs, cheap per output; kind 1 computes each output whole, so a few already fill a task.
constexpr size_t kSerialOutputs = 4096;
constexpr size_t kSerialDotOutputs = 64;
// Two-dimensional: at most kSerialOutputs rows and kSerialColumns columns stay serial.
constexpr size_t kSerialColumns = 32;
// Column grains: kColumnGrain, or kNarrowColumnGrain when fewer than kNarrowColumnGrains grains
// of kColumnGrain columns exist, so that narrow outputs still split into several tasks.
constexpr size_t kColumnGrain = 32, kNarrowColumnGrain = 16, kNarrowColumnGrains = 3;
// Row grains are the serial row count, or half of it when the rows are fewer than
// kFewRowGrains of those and the columns at most kSerialColumns: a tall, narrow output then
// still gives each thread a task.
constexpr size_t kFewRowGrains = 3;

inline size_t familyShare(size_t count, bool singleFamily, bool anyComplex) {
    if (anyComplex) count /= 2;
    if (!singleFamily) count /= 2;
    return count;
}

struct Limits1D {
    size_t serial;  // at most this many outputs: no parallel region
    size_t grain;
};

// A short run (fewer than four serial counts) takes grains of half the serial count.
inline Limits1D limits1D(int kind, bool singleFamily, bool anyComplex, size_t n) {
    const size_t serial = familyShare(kind == KIND_DOT ? kSerialDotOutputs : kSerialOutputs, singleFamily, anyComplex);
    return {serial, n < 4 * serial ? serial / 2 : serial};
}

struct Limits2D {
    bool serial;
    size_t rowGrain, colGrain;
};

inline Limits2D limits2D(bool singleFamily, bool anyComplex, size_t rows, size_t cols) {
    const size_t t = familyShare(kSerialOutputs, singleFamily, anyComplex);
    const size_t r = rows - 1, k = cols - 1;
    Limits2D l;
    l.serial = rows <= t && cols <= kSerialColumns;
    l.colGrain = r < t && k / kColumnGrain < kNarrowColumnGrains ? kNarrowColumnGrain : kColumnGrain;
    l.rowGrain = r >= t && r < kFewRowGrains * t && k < kSerialColumns ? t / 2 : t;
    return l;
}

}  // namespace vfl_conv::parallel
