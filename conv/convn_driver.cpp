// The N-dimensional driver: the schedule of a box, and the walks for the sixteen pairs of
// element types, dense and sparse.
#include "conv/convn_driver.hpp"

#include <algorithm>

#include "conv/parallel/wrappers_nd.hpp"
#include "module/argument_helpers.hpp"

namespace vfl_conv {

namespace {

// Dimensions no longer than this are not worth reordering or splitting first.
constexpr uint64_t kShortExtent = 17;
// Grains: the split dimension's runs are long (4096, or 1024 where its outputs are strided);
// other parallel dimensions split in blocks of 8.
constexpr uint64_t kCoarseGrain = 4096, kStridedCoarseGrain = 1024, kFineGrain = 8;

}  // namespace

using namespace matrix::detail::noninlined::vx_array_api;

bool nothingToCompute(const vxArray* A, const vxArray* B, const Sizes& size) {
    return vxIsEmpty(A) || vxIsEmpty(B) || std::find(size.begin(), size.end(), 0) != size.end();
}

vxArray* convolutionResult(const vxArray* A, const vxArray* B, const Sizes& size) {
    const vxClassID resultClass = vlmathdsp::classOf(A) == VX_DOUBLE_CLASS && vlmathdsp::classOf(B) == VX_DOUBLE_CLASS
                                      ? VX_DOUBLE_CLASS
                                      : VX_SINGLE_CLASS;
    std::vector<size_t> dims(size.begin(), size.end());
    const bool complex = !nothingToCompute(A, B, size) && (vxIsComplexFlags(A) || vxIsComplexFlags(B));
    return vxCreateNumericArray(dims.size(), dims.data(), resultClass, complex ? vxCOMPLEX : vxREAL);
}

namespace {

// The loop order of a box (the new position's old dimension), its split dimensions as positions
// in that order, and the split dimension's grain.
struct BoxOrder {
    std::vector<size_t> order, parallelDims;
    uint64_t coarse;
};

BoxOrder chooseOrder(const Sizes& rangeLo, const Sizes& rangeHi, const Sizes& firstSize) {
    const size_t n = rangeLo.size();
    const Sizes extent = extents(rangeLo, rangeHi);
    const Strides outStride = columnMajorStrides(extent, 1), firstStride = columnMajorStrides(firstSize, 1);
    // The split dimension: the longest run of outputs and first operand, discounted by its stride.
    uint64_t maxExtent = 0;
    size_t split = 0;
    int64_t best = 0;
    for (size_t d = 0; d < n; ++d) {
        const uint64_t e = std::min(extent[d], firstSize[d]);
        maxExtent = std::max(maxExtent, e);
        const int64_t r = d == 0 ? int64_t(e) : int64_t(e) / std::max(firstStride[d], outStride[d]);
        if (d == 0 || r > best) split = d, best = r;
    }
    if (maxExtent < kShortExtent) split = 0;
    BoxOrder b;
    b.coarse = outStride[split] == 1 ? kCoarseGrain : kStridedCoarseGrain;
    auto grainOf = [&](size_t d) { return d == split ? b.coarse : kFineGrain; };
    b.parallelDims = mostBlocks(n, [&](size_t d) { return (extent[d] - 1) / grainOf(d) + 1; });
    b.order.resize(n);
    for (size_t d = 0; d < n; ++d) b.order[d] = d;
    if (maxExtent < kShortExtent) return b;

    std::vector<size_t> sortedParallel(b.parallelDims);
    std::sort(sortedParallel.begin(), sortedParallel.end());
    b.order = {split};
    for (size_t d : sortedParallel)
        if (d != split) b.order.push_back(d);
    std::vector<size_t> rest;
    for (size_t d = 0; d < n; ++d)
        if (d != split && std::find(sortedParallel.begin(), sortedParallel.end(), d) == sortedParallel.end())
            rest.push_back(d);
    std::stable_sort(rest.begin(), rest.end(), [&](size_t x, size_t y) { return extent[x] > extent[y]; });
    b.order.insert(b.order.end(), rest.begin(), rest.end());
    for (size_t& p : b.parallelDims) p = size_t(std::find(b.order.begin(), b.order.end(), p) - b.order.begin());
    return b;
}

}  // namespace

NDSchedule scheduleBox(Sizes& rangeLo, Sizes& rangeHi, Sizes& firstSize, Sizes& secondSize, Strides& outStride,
                       Strides& firstStride, Strides& secondStride, const OrderSource* source) {
    BoxOrder b = chooseOrder(rangeLo, rangeHi, firstSize);
    if (source) followSummingOrder(b.order, chooseOrder(source->lo, source->hi, source->first).order, firstSize, secondSize);
    const std::vector<size_t>& order = b.order;
    permuteDims(rangeLo, order), permuteDims(rangeHi, order), permuteDims(outStride, order), permuteDims(firstSize, order);
    permuteDims(firstStride, order), permuteDims(secondSize, order), permuteDims(secondStride, order);
    NDSchedule s;
    s.parallelDims = b.parallelDims;
    s.grains = splitGrains(s.parallelDims, extents(rangeLo, rangeHi), b.coarse, kFineGrain);
    return s;
}

void convNDDriver(vxArray* out, Sizes rangeLo, Sizes rangeHi, const vxArray* first, Sizes firstSize,
                  const vxArray* second, Sizes secondSize, bool firstFinite, bool sparse, const OrderSource* source) {
    Strides outStride = columnMajorStrides(extents(rangeLo, rangeHi), 1);
    Strides firstStride = columnMajorStrides(firstSize, 1), secondStride = columnMajorStrides(secondSize, 1);
    const NDSchedule s =
        scheduleBox(rangeLo, rangeHi, firstSize, secondSize, outStride, firstStride, secondStride, source);
    const ConvFlags flags{uint8_t(!firstFinite), uint8_t(std::max(firstStride[0], outStride[0]) == 1)};
    if (!parallel::clampToFull(rangeLo, rangeHi, firstSize, secondSize)) return;
    const ConvGeometry g{rangeLo, rangeHi, firstSize, secondSize, outStride, firstStride, secondStride};
    if (sparse)
        parallel::runNDWalk<parallel::NDWalk::Sparse>(out, first, second, g, flags, s.parallelDims, s.grains, rangeLo,
                                                      rangeHi);
    else
        parallel::runNDWalk<parallel::NDWalk::Plans>(out, first, second, g, flags, s.parallelDims, s.grains, rangeLo,
                                                     rangeHi);
}

}  // namespace vfl_conv
