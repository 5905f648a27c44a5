// The sampled driver: the split dimension, the parallel dimensions and the loop order of a
// sampled box, then the sampled dense or sparse walk for the sixteen pairs of element types.
#include "conv/strided_driver.hpp"

#include <algorithm>

#include "conv/parallel/wrappers_nd.hpp"

namespace vfl_conv {

namespace {

// Grains in samples: the split dimension's runs 4096 long (8192 complex, a quarter where its
// outputs are strided); other dimensions 8, or 32 for two-dimensional boxes.
constexpr uint64_t kCoarseGrain = 4096, kComplexCoarseGrain = 8192, kStridedOutputShrink = 4;
constexpr uint64_t kFineGrain = 8, kPlaneFineGrain = 32;
// Boxes whose longest sampled extent is at most this (64 for two dimensions) keep their order.
constexpr uint64_t kShortExtent = 16, kPlaneShortExtent = 64;
// A dimension strided by 2 to 256 counts a quarter of its extent when the split is chosen.
constexpr int64_t kNarrowStrideMin = 2, kNarrowStrideMax = 256;
constexpr uint64_t kNarrowShare = 4;
// Dimensions of at most this many samples go outermost.
constexpr uint64_t kFewSamples = 4;

}  // namespace

namespace {

// The loop order of a sampled box (the new position's old dimension), its split dimensions (by
// their old numbers) and the grains of the split dimension and of the others.
struct SampledOrder {
    std::vector<size_t> order, parallelDims;
    uint64_t coarse, fine;
};

SampledOrder chooseOrder(const Sizes& rangeLo, const Sizes& rangeHi, const Sizes& firstSize, const Sizes& stride,
                         bool complex) {
    const size_t n = rangeLo.size();
    SampledOrder s;
    s.fine = n == 2 ? kPlaneFineGrain : kFineGrain;
    s.coarse = complex ? kComplexCoarseGrain : kCoarseGrain;
    Sizes count(n);
    for (size_t d = 0; d < n; ++d) count[d] = sampleCount(rangeLo[d], rangeHi[d], stride[d]);
    const Strides outStride = columnMajorStrides(count, 1), firstStride = columnMajorStrides(firstSize, 1);

    uint64_t maxExtent = 0, best = 0;
    size_t split = 0;
    for (size_t d = 0; d < n; ++d) {
        const uint64_t e = sampleCount(0, std::min(rangeHi[d] - std::min(rangeLo[d], rangeHi[d]), firstSize[d]), stride[d]);
        maxExtent = std::max(maxExtent, e);
        if (d == 0) {
            best = e;
            continue;
        }
        const int64_t w = std::max(std::abs(firstStride[d]), std::abs(outStride[d]));
        if (w >= kNarrowStrideMin && w <= kNarrowStrideMax && e / kNarrowShare > best) {
            split = d, best = e / kNarrowShare;
            continue;
        }
        if (e / uint64_t(w) > best) split = d, best = e / uint64_t(w);
    }
    if (maxExtent <= kShortExtent) split = 0;
    if (outStride[split] != 1) s.coarse /= kStridedOutputShrink;

    auto grainOf = [&](size_t d) { return d == split ? s.coarse : s.fine; };
    s.parallelDims = mostBlocks(n, [&](size_t d) { return count[d] == 0 ? 0 : (count[d] - 1) / grainOf(d) + 1; });
    std::sort(s.parallelDims.begin(), s.parallelDims.end());

    if (maxExtent > (n == 2 ? kPlaneShortExtent : kShortExtent)) {
        auto isParallel = [&](size_t d) { return std::find(s.parallelDims.begin(), s.parallelDims.end(), d) != s.parallelDims.end(); };
        for (size_t d = 0; d < n; ++d)
            if (!isParallel(d) && count[d] > kFewSamples) s.order.push_back(d);
        s.order.insert(s.order.end(), s.parallelDims.begin(), s.parallelDims.end());
        for (size_t d = 0; d < n; ++d)
            if (!isParallel(d) && count[d] <= kFewSamples) s.order.push_back(d);
    } else {
        for (size_t d = 0; d < n; ++d) s.order.push_back(d);
    }
    return s;
}

}  // namespace

void stridedNDDriver(vxArray* out, Sizes rangeLo, Sizes rangeHi, const vxArray* first, Sizes firstSize,
                     const vxArray* second, Sizes secondSize, Sizes stride, bool firstFinite, bool sparse,
                     const OrderSource* source) {
    const size_t n = rangeLo.size();
    const bool complex = vxIsComplexFlags(out);
    SampledOrder chosen = chooseOrder(rangeLo, rangeHi, firstSize, stride, complex);
    if (source)
        followSummingOrder(chosen.order, chooseOrder(source->lo, source->hi, source->first, stride, complex).order,
                           firstSize, secondSize);
    Sizes count(n);
    for (size_t d = 0; d < n; ++d) count[d] = sampleCount(rangeLo[d], rangeHi[d], stride[d]);
    Strides outStride = columnMajorStrides(count, 1);
    Strides firstStride = columnMajorStrides(firstSize, 1), secondStride = columnMajorStrides(secondSize, 1);
    // Entries of parallelDims keep their numbers: any output dimension may be split.
    const std::vector<size_t>& order = chosen.order;
    permuteDims(rangeLo, order), permuteDims(rangeHi, order), permuteDims(outStride, order), permuteDims(firstSize, order);
    permuteDims(firstStride, order), permuteDims(secondSize, order), permuteDims(secondStride, order), permuteDims(stride, order);
    permuteDims(count, order);
    const std::vector<size_t>& parallelDims = chosen.parallelDims;
    const std::vector<uint64_t> grains = splitGrains(parallelDims, count, chosen.coarse, chosen.fine);

    const ConvFlags flags{uint8_t(!firstFinite),
                          uint8_t(firstStride[0] == 1 && outStride[0] == 1 && stride[0] == 1)};
    if (!parallel::clampToFull(rangeLo, rangeHi, firstSize, secondSize)) return;
    for (size_t d = 0; d < n; ++d) count[d] = std::min(count[d], sampleCount(rangeLo[d], rangeHi[d], stride[d]));
    const ConvGeometry g{rangeLo, rangeHi, firstSize, secondSize, outStride, firstStride, secondStride};
    const Sizes zero(n, 0);
    if (sparse)
        parallel::runNDWalk<parallel::NDWalk::StridedSparse>(out, first, second, g, flags, parallelDims, grains, zero,
                                                             count, &stride);
    else
        parallel::runNDWalk<parallel::NDWalk::StridedDense>(out, first, second, g, flags, parallelDims, grains, zero,
                                                            count, &stride);
}

}  // namespace vfl_conv
