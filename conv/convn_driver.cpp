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

NDSchedule scheduleBox(Sizes& rangeLo, Sizes& rangeHi, Sizes& firstSize, Sizes& secondSize, Strides& outStride,
                       Strides& firstStride, Strides& secondStride) {
    const size_t n = rangeLo.size();
    Sizes extent = extents(rangeLo, rangeHi);
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
    const uint64_t coarse = outStride[split] == 1 ? kCoarseGrain : kStridedCoarseGrain;
    auto grainOf = [&](size_t d) { return d == split ? coarse : kFineGrain; };

    NDSchedule s;
    s.parallelDims = mostBlocks(n, [&](size_t d) { return (extent[d] - 1) / grainOf(d) + 1; });

    if (maxExtent >= kShortExtent) {
        std::vector<size_t> order{split};
        std::vector<size_t> sortedParallel(s.parallelDims);
        std::sort(sortedParallel.begin(), sortedParallel.end());
        for (size_t d : sortedParallel)
            if (d != split) order.push_back(d);
        std::vector<size_t> rest;
        for (size_t d = 0; d < n; ++d)
            if (d != split && std::find(sortedParallel.begin(), sortedParallel.end(), d) == sortedParallel.end())
                rest.push_back(d);
        std::stable_sort(rest.begin(), rest.end(), [&](size_t a, size_t b) { return extent[a] > extent[b]; });
        order.insert(order.end(), rest.begin(), rest.end());
        for (size_t& p : s.parallelDims) p = size_t(std::find(order.begin(), order.end(), p) - order.begin());
        permuteDims(rangeLo, order), permuteDims(rangeHi, order), permuteDims(outStride, order), permuteDims(firstSize, order);
        permuteDims(firstStride, order), permuteDims(secondSize, order), permuteDims(secondStride, order);
        permuteDims(extent, order);
    }
    s.grains = splitGrains(s.parallelDims, extent, coarse, kFineGrain);
    return s;
}

void convNDDriver(vxArray* out, Sizes rangeLo, Sizes rangeHi, const vxArray* first, Sizes firstSize,
                  const vxArray* second, Sizes secondSize, bool firstFinite, bool sparse) {
    Strides outStride = columnMajorStrides(extents(rangeLo, rangeHi), 1);
    Strides firstStride = columnMajorStrides(firstSize, 1), secondStride = columnMajorStrides(secondSize, 1);
    const NDSchedule s = scheduleBox(rangeLo, rangeHi, firstSize, secondSize, outStride, firstStride, secondStride);
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
