// The box of an N-dimensional convolution: which part of the full result is computed, the
// operands' lengths, and the strides of the output and both operands, all per dimension.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vfl_conv {

using Sizes = std::vector<uint64_t>;
using Strides = std::vector<int64_t>;

// out[i - rangeLo] = sum over j of first[i - j] second[j], for i in [rangeLo, rangeHi).
struct ConvGeometry {
    const Sizes& rangeLo;
    const Sizes& rangeHi;
    const Sizes& firstSize;
    const Sizes& secondSize;
    const Strides& outStride;
    const Strides& firstStride;
    const Strides& secondStride;
};

// Column-major strides of the given lengths, the first being `start`.
inline Strides columnMajorStrides(const Sizes& lengths, int64_t start) {
    Strides s(lengths.size());
    int64_t step = start;
    for (size_t d = 0; d < lengths.size(); ++d) {
        s[d] = step;
        step *= int64_t(lengths[d]);
    }
    return s;
}

// Range types exist for up to three split dimensions.
constexpr size_t kMaxParallelDims = 3;
// A single split dimension with fewer than this many grains gets grains of half the size.
constexpr uint64_t kFewGrains = 4;

// v[i] = v[order[i]]: a vector of the box in a new loop order.
template <class V>
void permuteDims(V& v, const std::vector<size_t>& order) {
    V copy(v);
    for (size_t i = 0; i < order.size(); ++i) v[i] = copy[order[i]];
}

// Advances a multi-index over the box [lo, hi), dimension 0 fastest; false once past its end.
inline bool nextIndex(Sizes& counter, const Sizes& lo, const Sizes& hi) {
    for (size_t d = 0; d < counter.size(); ++d) {
        if (++counter[d] < hi[d]) return true;
        counter[d] = lo[d];
    }
    return false;
}

inline Sizes extents(const Sizes& lo, const Sizes& hi) {
    Sizes e(lo.size());
    for (size_t d = 0; d < lo.size(); ++d) e[d] = hi[d] - lo[d];
    return e;
}

}  // namespace vfl_conv
