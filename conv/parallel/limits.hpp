// When a region goes parallel, and with which grain: decided by sizes alone, never by the
// thread count. Pairs with a single operand use the single family; double with double uses
// the double family, whose numbers are half.
#pragma once

#include <cstddef>

#include "conv/kernels/arith.hpp"
#include "conv/kernels/conv_op.hpp"

namespace vfl_conv::parallel {

template <class TFirst, class TSecond>
constexpr bool kSingleFamily = std::is_same_v<Real<TFirst>, float> || std::is_same_v<Real<TSecond>, float>;
template <class TFirst, class TSecond>
constexpr bool kAnyComplex = IsComplex<TFirst>::value || IsComplex<TSecond>::value;

struct Limits1D {
    size_t serial;  // at most this many outputs: no parallel region
    size_t grain;
};

// Kinds 0 and 3 split into long runs; kind 1 computes each output whole, so its grains are small.
inline Limits1D limits1D(int kind, bool singleFamily, bool anyComplex, size_t n) {
    size_t serial = kind == KIND_DOT ? 64 : 4096;
    if (anyComplex) serial /= 2;
    if (!singleFamily) serial /= 2;
    return {serial, n < 4 * serial ? serial / 2 : serial};
}

struct Limits2D {
    bool serial;
    size_t rowGrain, colGrain;
};

inline Limits2D limits2D(bool singleFamily, bool anyComplex, size_t rows, size_t cols) {
    size_t t = 4096;
    if (anyComplex) t /= 2;
    if (!singleFamily) t /= 2;
    const size_t r = rows - 1, k = cols - 1;
    Limits2D l;
    l.serial = rows <= t && cols <= 32;
    l.colGrain = r < t && k / 32 < 3 ? 16 : 32;
    l.rowGrain = r >= t && r < 3 * t && k <= 31 ? t / 2 : t;
    return l;
}

}  // namespace vfl_conv::parallel
