// Finiteness and density.
#include "module/argument_helpers.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

#include "common/parallel_range.hpp"

namespace vlmathdsp {

namespace {

// Exponent bits all ones: Inf or NaN. Tested on the bit patterns, a block at a time without
// branches so the loop vectorises; the answer is false at the first block holding one.
constexpr size_t kFiniteBlock = 256;

template <class T, class Bits>
bool finiteRun(const T* p, size_t count, Bits magnitude, Bits infinity) {
    static_assert(sizeof(T) == sizeof(Bits), "bit patterns of the element type");
    for (size_t i0 = 0; i0 < count; i0 += kFiniteBlock) {
        const size_t n = std::min(kFiniteBlock, count - i0);
        Bits worst = 0;
        for (size_t i = 0; i < n; ++i) {
            Bits bits;
            std::memcpy(&bits, p + i0 + i, sizeof bits);
            bits &= magnitude;
            worst = bits > worst ? bits : worst;
        }
        if (worst >= infinity) return false;
    }
    return true;
}

bool finite(const float* p, size_t count) { return finiteRun(p, count, uint32_t(0x7fffffffu), uint32_t(0x7f800000u)); }

// For double the upper 32 bits decide: masked with 0x7fffffff, at least 0x7ff00000.
bool finite(const double* p, size_t count) {
    return finiteRun(p, count, uint64_t(0x7fffffff00000000ull), uint64_t(0x7ff0000000000000ull));
}

template <class T>
size_t nonZeros(const T* p, size_t count, bool complex) {
    size_t n = 0;
    if (complex) {
        for (size_t i = 0; i < count; ++i) n += (p[2 * i] != T(0) || p[2 * i + 1] != T(0));
    } else {
        for (size_t i = 0; i < count; ++i) n += (p[i] != T(0));  // NaN counts as non-zero
    }
    return n;
}

struct Counted {
    bool finite;
    size_t nonZero;
};

// Non-zeros of `count` elements (pairs when complex) and whether every part is finite: each
// block is read once for both; past the first block not finite, only the count goes on.
template <class T, class Bits>
Counted factsRun(const T* p, size_t count, bool complex, Bits magnitude, Bits infinity) {
    const size_t parts = complex ? 2 : 1;
    size_t nonZero = 0;
    bool allFinite = true;
    for (size_t e0 = 0; e0 < count; e0 += kFiniteBlock) {
        const size_t n = std::min(kFiniteBlock, count - e0);
        const T* q = p + e0 * parts;
        if (!allFinite) {
            nonZero += nonZeros(q, n, complex);
            continue;
        }
        Bits worst = 0;
        size_t found = 0;
        if (complex) {
            for (size_t i = 0; i < n; ++i) {
                Bits re, im;
                std::memcpy(&re, q + 2 * i, sizeof re);
                std::memcpy(&im, q + 2 * i + 1, sizeof im);
                re &= magnitude, im &= magnitude;
                worst = re > worst ? re : worst;
                worst = im > worst ? im : worst;
                found += (q[2 * i] != T(0) || q[2 * i + 1] != T(0));
            }
        } else {
            for (size_t i = 0; i < n; ++i) {
                Bits bits;
                std::memcpy(&bits, q + i, sizeof bits);
                bits &= magnitude;
                worst = bits > worst ? bits : worst;
                found += (q[i] != T(0));
            }
        }
        nonZero += found;
        allFinite = worst < infinity;
    }
    return {allFinite, nonZero};
}

// Elements per piece of a parallel scan. The pieces depend on the count alone, and their
// counts of non-zeros are whole numbers, so the facts are those of the serial scan.
constexpr size_t kFactsPiece = size_t(1) << 18;

template <class T, class Bits>
Counted countedOf(const T* p, size_t count, bool complex, Bits magnitude, Bits infinity) {
    const size_t pieces = (count + kFactsPiece - 1) / kFactsPiece;
    Counted all{true, 0};
    if (pieces < 2) {
        all = factsRun(p, count, complex, magnitude, infinity);
    } else {
        std::vector<Counted> piece(pieces);
        {
            ComputationalThreadScope scope;
            vlcommon::forEachIndex(true, size_t(0), pieces, size_t(1), [&](size_t i) {
                const size_t e0 = i * kFactsPiece;
                piece[i] = factsRun(p + e0 * (complex ? 2 : 1), std::min(kFactsPiece, count - e0), complex, magnitude,
                                    infinity);
            });
        }
        for (const Counted& c : piece) all.finite = all.finite && c.finite, all.nonZero += c.nonZero;
    }
    return all;
}

Counted counted(const float* p, size_t count, bool complex) {
    return countedOf(p, count, complex, uint32_t(0x7fffffffu), uint32_t(0x7f800000u));
}

Counted counted(const double* p, size_t count, bool complex) {
    return countedOf(p, count, complex, uint64_t(0x7fffffff00000000ull), uint64_t(0x7ff0000000000000ull));
}

// The first `prefix` elements of a, counted.
Counted countedPrefix(const vxArray* a, size_t prefix) {
    const bool complex = vxIsComplexFlags(a);
    return withRealType(a, [&](auto type) {
        using T = typename decltype(type)::type;
        return counted(static_cast<const T*>(a->data), prefix, complex);
    });
}

float densityOf(size_t nonZero, size_t count) { return static_cast<float>(nonZero) / static_cast<float>(count); }

}  // namespace

ArrayFacts scanFacts(const vxArray* a) {
    const size_t count = a->get_number_of_elements();
    const Counted c = countedPrefix(a, count);
    return {c.finite, densityOf(c.nonZero, count)};
}

bool denseAtLeast(const vxArray* a, float density) {
    const size_t count = a->get_number_of_elements();
    // The fewest leading elements whose being all non-zero puts the density at `density` or more.
    size_t prefix = std::min(count, size_t(std::ceil(double(density) * double(count))));
    while (prefix < count && densityOf(prefix, count) < density) ++prefix;
    return countedPrefix(a, prefix).nonZero == prefix;
}

bool allFinite(const vxArray* a) {
    const size_t count = a->get_number_of_elements() * (vxIsComplexFlags(a) ? 2 : 1);
    return withRealType(a, [&](auto type) {
        using T = typename decltype(type)::type;
        return finite(static_cast<const T*>(a->data), count);
    });
}

float nonZeroDensity(const vxArray* a) {
    const size_t count = a->get_number_of_elements();
    const bool complex = vxIsComplexFlags(a);
    const size_t n = withRealType(a, [&](auto type) {
        using T = typename decltype(type)::type;
        return nonZeros(static_cast<const T*>(a->data), count, complex);
    });
    return static_cast<float>(n) / static_cast<float>(count);
}

}  // namespace vlmathdsp
