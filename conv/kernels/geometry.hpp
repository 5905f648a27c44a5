// The box of an N-dimensional convolution: which part of the full result is computed, the
// operands' lengths, and the strides of the output and both operands, all per dimension.
#pragma once

#include <cstddef>
#include <algorithm>
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

// The dimensions to split: those with the most blocks(d), at least two each, at most
// kMaxParallelDims; ties keep the lower dimension first.
template <class Blocks>
std::vector<size_t> mostBlocks(size_t n, const Blocks& blocks) {
    std::vector<size_t> byBlocks(n), chosen;
    for (size_t d = 0; d < n; ++d) byBlocks[d] = d;
    std::stable_sort(byBlocks.begin(), byBlocks.end(), [&](size_t a, size_t b) { return blocks(a) > blocks(b); });
    for (size_t d : byBlocks) {
        if (chosen.size() == kMaxParallelDims || blocks(d) < 2) break;
        chosen.push_back(d);
    }
    return chosen;
}

// The grain of each split position: coarse at position 0, fine elsewhere; a lone split with
// fewer than kFewGrains grains of its extent gets half grains, so that it still balances.
inline std::vector<uint64_t> splitGrains(const std::vector<size_t>& parallelDims, const Sizes& extent, uint64_t coarse,
                                         uint64_t fine) {
    std::vector<uint64_t> grains;
    for (size_t p : parallelDims) grains.push_back(p == 0 ? coarse : fine);
    if (grains.size() == 1 && extent[parallelDims[0]] / grains[0] + 1 < kFewGrains) grains[0] >>= 1;
    return grains;
}

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

// Operands are handed over by their lowest address; a negative stride walks a dimension from its
// far end. The walks index from element 0 instead: this moves a pointer there.
template <class T>
T* elementZero(T* lowest, uint64_t length, int64_t stride) {
    return stride < 0 && length ? lowest - int64_t(length - 1) * stride : lowest;
}
template <class T>
T* elementZero(T* lowest, const Sizes& size, const Strides& stride) {
    for (size_t d = 0; d < size.size(); ++d) lowest = elementZero(lowest, size[d], stride[d]);
    return lowest;
}

// The lowest address of a run of `length` elements from element pointer p, stepping `stride`.
template <class T>
T* runLowest(T* p, int64_t stride, uint64_t length) {
    return stride < 0 && length ? p + int64_t(length - 1) * stride : p;
}

inline Sizes extents(const Sizes& lo, const Sizes& hi) {
    Sizes e(lo.size());
    for (size_t d = 0; d < lo.size(); ++d) e[d] = hi[d] - lo[d];
    return e;
}

}  // namespace vfl_conv
