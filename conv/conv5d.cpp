// The matrix paths of stridedConvn: the height-by-width walks of the N-dimensional wrappers, with
// operators whose elements are the images' and the filters' matrices at one position (channels
// by batch, channels by filters), or, for a sparse operand, vectors along the batch or filters.
#include "conv/conv5d.hpp"

#include <vector>

#include "common/parallel_range.hpp"
#include "conv/batch_correlation.hpp"
#include "conv/kernels/gemm_ops.hpp"
#include "conv/parallel/wrappers_nd.hpp"
#include "module/argument_helpers.hpp"
#include "module/owned_array.hpp"
#include "module/permute.hpp"

namespace vfl_conv {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;
using vlmathdsp::OwnedArray;
using vlmathdsp::permuted;

constexpr size_t kLayoutDims = 5;

// A is H, W, C, 1, N and B is h, w, C, F, 1.
const BatchLayout kLayout{{1, 2, 3, 5, 4}, {1, 2, 3, 4, 5}, true};

BatchBox batchBox(const Sizes& sizeA, const Sizes& sizeB, const Sizes& lo, const Sizes& hi, const Sizes& stride) {
    return {sizeA[0], sizeA[1], sizeA[2], sizeA[4], sizeB[0], sizeB[1], sizeB[3], {lo[0], lo[1]}, {hi[0], hi[1]},
            {stride[0], stride[1]}, {sampleCount(lo[0], hi[0], stride[0]), sampleCount(lo[1], hi[1], stride[1])}};
}

// Runs of the fast dimension go to tasks in blocks of this many elements.
constexpr uint64_t kRunGrain = 64;

}  // namespace

bool gemmEligible(const vxArray* A, const vxArray* B, const Sizes& sizeA, const Sizes& sizeB, const Sizes& rangeLo,
                  const Sizes& rangeHi, const Sizes& stride, bool isCorr) {
    if (!isCorr || sizeA.size() != kLayoutDims || vlmathdsp::classOf(A) != vlmathdsp::classOf(B)) return false;
    if (vxIsComplexFlags(A) || vxIsComplexFlags(B)) return false;
    const uint64_t C = sizeA[2], F = sizeB[3], N = sizeA[4];
    if (sizeB[2] != C || sizeA[3] != 1 || sizeB[4] != 1 || C == 0) return false;
    if (rangeLo[2] != C - 1 || rangeHi[2] != C || rangeLo[3] != 0 || rangeHi[3] != F || rangeLo[4] != 0 ||
        rangeHi[4] != N || stride[3] != 1 || stride[4] != 1)
        return false;
    return batchFitsBlas(batchBox(sizeA, sizeB, rangeLo, rangeHi, stride));
}


vxArray* gemmConv5D(const vxArray* A, const Sizes& sizeA, const vxArray* B, const Sizes& sizeB, const Sizes& rangeLo,
                    const Sizes& rangeHi) {
    return gemmConv5DStrided(A, sizeA, B, sizeB, rangeLo, rangeHi, Sizes(kLayoutDims, 1));
}

vxArray* gemmConv5DStrided(const vxArray* A, const Sizes& sizeA, const vxArray* B, const Sizes& sizeB,
                           const Sizes& rangeLo, const Sizes& rangeHi, const Sizes& stride) {
    return correlateBatch(A, B, kLayout, batchBox(sizeA, sizeB, rangeLo, rangeHi, stride));
}

vxArray* axpyConv5D(const vxArray* A, const Sizes& sizeA, const vxArray* B, const Sizes& sizeB, const Sizes& rangeLo,
                    const Sizes& rangeHi, bool bSparse) {
    const uint64_t H = sizeA[0], W = sizeA[1], C = sizeA[2], N = sizeA[4], h = sizeB[0], w = sizeB[1], F = sizeB[3];
    const uint64_t Y = rangeHi[0] - rangeLo[0], X = rangeHi[1] - rangeLo[1];
    const uint64_t fast = bSparse ? N : F, slow = bSparse ? F : N;
    // The dense operand with its batch or filter dimension first, its elements vectors of that
    // length: A as N, H, W, C; B as F, h, w, C. The result is fast, Y, X, 1, slow.
    OwnedArray dense(bSparse ? permuted(A, {5, 1, 2, 3, 4}) : permuted(B, {4, 1, 2, 3, 5}));
    size_t dims[kLayoutDims] = {fast, Y, X, 1, slow};
    OwnedArray out(vxCreateNumericArray(kLayoutDims, dims, vlmathdsp::classOf(A), vxREAL));
    // Dimensions height, width, channel, slow. Correlation: B backwards along the first three.
    const int64_t v = int64_t(fast);
    Sizes lo{rangeLo[0], rangeLo[1], rangeLo[2], 0}, hi{rangeHi[0], rangeHi[1], rangeHi[2], slow};
    const Strides outStride{v, v * int64_t(Y), v * int64_t(Y * X), v * int64_t(Y * X)};
    Sizes firstSize, secondSize;
    Strides firstStride, secondStride;
    if (bSparse) {
        firstSize = {H, W, C, 1}, firstStride = {v, v * int64_t(H), v * int64_t(H * W), 0};
        secondSize = {h, w, C, F}, secondStride = {-1, -int64_t(h), -int64_t(h * w), int64_t(h * w * C)};
    } else {
        firstSize = {h, w, C, 1}, firstStride = {-v, -v * int64_t(h), -v * int64_t(h * w), 0};
        secondSize = {H, W, C, N}, secondStride = {1, int64_t(H), int64_t(H * W), int64_t(H * W * C)};
    }
    if (fast && slow && Y && X && parallel::clampToFull(lo, hi, firstSize, secondSize)) {
        vlmathdsp::ComputationalThreadScope scope;
        const ConvGeometry g{lo, hi, firstSize, secondSize, outStride, firstStride, secondStride};
        const ConvFlags flags{0, 0};
        vlmathdsp::withRealType(A, [&](auto type) {
            using T = typename decltype(type)::type;
            const T* sparse = static_cast<const T*>((bSparse ? B : A)->data);
            vlcommon::runRange(fast > kRunGrain, uint64_t(0), fast, kRunGrain, [&](const tbb::blocked_range<uint64_t>& r) {
                parallel::runWalk<parallel::NDWalk::Sparse>(ExtendedAXPY<T>{r.begin(), r.end()},
                                                            static_cast<T*>(out->data),
                                                            static_cast<const T*>(dense->data), sparse, g, flags, {},
                                                            {}, lo, hi);
            });
        });
    }
    // To Y, X, 1, F, N.
    return bSparse ? permuted(out.get(), {2, 3, 4, 5, 1}) : permuted(out.get(), {2, 3, 4, 1, 5});
}

}  // namespace vfl_conv
