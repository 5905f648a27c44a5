// Images X (C, N, H, W), filters K (C, F, kH, kW). Filter per tap: each filter tap updates a run
// of output positions (F by N blocks) in one product with the run of image positions. Image per
// row (unit strides): the filters' taps reversed in place, each image position updates a run of
// output positions (N by F blocks) with the run of filter taps. Other strides: filter per tap on
// each pair of phases (batch_phases.hpp). Every output block is one task's, and the products it
// receives do not depend on how the range was split.
#include "conv/batch_correlation.hpp"

#include <algorithm>
#include <climits>

#include "common/parallel_range.hpp"
#include "conv/batch_phases.hpp"
#include "conv/kernels/gemm_ops.hpp"
#include "conv/parallel/wrappers_nd.hpp"
#include "module/argument_helpers.hpp"
#include "module/permute.hpp"

namespace vfl_conv {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;
using vlmathdsp::OwnedArray;
using vlmathdsp::permuted;

// Grain: rows of the filter reversal.
constexpr uint64_t kFlipGrain = 256;

// The positions of `pick` (indices into the four named axes), then the remaining axes.
std::vector<double> axesOrder(const std::vector<double>& axes, std::initializer_list<size_t> pick) {
    std::vector<double> order;
    for (size_t i : pick) order.push_back(axes[i]);
    order.insert(order.end(), axes.begin() + 4, axes.end());
    return order;
}

// Reverses the order of the taps of K, a matrix of `rows` (C F) by `taps` (kH kW) columns.
template <class T>
void flipFilterBlocks(T* k, uint64_t rows, uint64_t taps) {
    if (taps < 2) return;
    vlcommon::runRange(rows > kFlipGrain, uint64_t(0), rows, kFlipGrain, [&](const tbb::blocked_range<uint64_t>& r) {
        for (uint64_t i = 0; i < taps / 2; ++i)
            std::swap_ranges(k + i * rows + r.begin(), k + i * rows + r.end(), k + (taps - 1 - i) * rows + r.begin());
    });
}

struct Walk {
    Sizes lo, hi, firstSize, secondSize;
    Strides outStride, firstStride, secondStride;
    ConvGeometry view() const { return {lo, hi, firstSize, secondSize, outStride, firstStride, secondStride}; }
};

}  // namespace

bool batchFitsBlas(const BatchBox& b) {
    const uint64_t limit = INT_MAX;
    for (uint64_t v : {b.C, b.F, b.N, b.H + b.kH, b.W + b.kW})
        if (v > limit) return false;
    // Products span a run of a spatial dimension: N or F times its length, C times the taps.
    return b.N * (b.H + b.kH) <= limit && b.F * (b.H + b.kH) <= limit && b.C * b.kH <= limit;
}

vxArray* correlateBatch(const vxArray* images, const vxArray* filters, const BatchLayout& layout, const BatchBox& box) {
    const int64_t C = int64_t(box.C), N = int64_t(box.N), F = int64_t(box.F), H = int64_t(box.H);
    const int64_t kH = int64_t(box.kH), oH = int64_t(box.size[0]);
    const bool unit = box.stride[0] == 1 && box.stride[1] == 1;
    const uint64_t elementBytes = vxGetElementSize(images);
    const uint64_t budget = kTileBytes / elementBytes;
    const uint64_t tx = std::max<uint64_t>(budget / (box.C * box.N), 1), tk = std::max<uint64_t>(budget / (box.C * box.F), 1);
    // Filter per tap unless a run of filter taps is much the smaller working set.
    const bool perTap = !unit || tk * box.C * box.F + box.C * box.N <= 2 * (tx * box.C * box.N + box.C * box.F);

    OwnedArray X(permuted(images, axesOrder(layout.imageAxes, {2, 3, 0, 1})));
    OwnedArray K(permuted(filters, axesOrder(layout.filterAxes, {2, 3, 0, 1})));
    const uint64_t rowsFirst = perTap ? box.F : box.N, rowsSecond = perTap ? box.N : box.F;
    size_t dims[5] = {rowsFirst, rowsSecond, box.size[0], box.size[1], 1};
    OwnedArray R(vxCreateNumericArray(layout.fiveDimensional ? 5 : 4, dims, vlmathdsp::classOf(images), vxREAL));

    Walk w{{box.lo[0], box.lo[1]}, {box.hi[0], box.hi[1]}, {box.H, box.W}, {box.kH, box.kW}, {N * F, N * F * oH}, {}, {}};
    if (!perTap) std::swap(w.firstSize, w.secondSize);  // the filters first
    const int64_t imageStep = C * N, filterStep = C * F;  // one position's matrix
    if (perTap) {
        w.firstStride = {imageStep, imageStep * H};
        const int64_t sign = layout.convolution ? 1 : -1;  // correlation: the filter backwards
        w.secondStride = {sign * filterStep, sign * filterStep * kH};
    } else {
        w.firstStride = {filterStep, filterStep * kH};  // for a correlation, reversed in place below
        w.secondStride = {imageStep, imageStep * H};
    }
    const bool any = box.size[0] && box.size[1] && box.F && box.N;
    if (any && parallel::clampToFull(w.lo, w.hi, w.firstSize, w.secondSize)) {
        vlmathdsp::ComputationalThreadScope scope;
        const ConvGeometry g = w.view();
        const ConvFlags flags{0, 0};
        vlmathdsp::withRealType(images, [&](auto type) {
            using T = typename decltype(type)::type;
            T* out = static_cast<T*>(R->data);
            const T* x = static_cast<const T*>(X->data);
            T* k = static_cast<T*>(K->data);
            if (unit && perTap) {  // split along the width only: runs along the height stay whole
                const ColumnGemmFunctor<T> op{{C, N, F, F, C, C, 'T', 'N'}};
                parallel::runWalk<parallel::NDWalk::Plans>(op, out, x, static_cast<const T*>(k), g, flags, {1}, {1},
                                                           w.lo, w.hi);
            } else if (unit) {
                if (!layout.convolution) flipFilterBlocks(k, box.C * box.F, box.kH * box.kW);
                const ColumnGemmFunctor<T> op{{C, F, N, N, C, C, 'T', 'N'}};
                parallel::runWalk<parallel::NDWalk::Plans>(op, out, static_cast<const T*>(k), x, g, flags, {1}, {1},
                                                           w.lo, w.hi);
            } else {
                Sizes count(2);
                for (size_t d = 0; d < 2; ++d)
                    count[d] = std::min(box.size[d], sampleCount(w.lo[d], w.hi[d], box.stride[d]));
                size_t phaseDims[2] = {box.C * box.N, ((box.H - 1) / box.stride[0] + 1) * ((box.W - 1) / box.stride[1] + 1)};
                OwnedArray phase(vxCreateUninitNumericArray(2, phaseDims, vlmathdsp::classOf(images), vxREAL));
                correlatePhases(out, x, static_cast<const T*>(k), static_cast<T*>(phase->data), box, count);
            }
        });
    }
    X = OwnedArray(), K = OwnedArray();
    // To (oH, oW, [1,] F, N).
    std::vector<double> order = perTap ? std::vector<double>{3, 4, 1, 2} : std::vector<double>{3, 4, 2, 1};
    if (layout.fiveDimensional) order.insert(order.begin() + 2, 5);
    return permuted(R.get(), order);
}

}  // namespace vfl_conv
