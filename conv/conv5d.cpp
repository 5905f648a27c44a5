// The matrix paths of stridedConvn: the height-by-width walks of the N-dimensional wrappers, with
// operators whose elements are the images' and the filters' matrices at one position (channels
// by batch, channels by filters), or, for a sparse operand, vectors along the batch or filters.
#include "conv/conv5d.hpp"

#include <climits>
#include <vector>

#include "common/parallel_range.hpp"
#include "conv/kernels/gemm_ops.hpp"
#include "conv/parallel/wrappers_nd.hpp"
#include "module/argument_helpers.hpp"
#include "module/blas.hpp"
#include "module/owned_array.hpp"

namespace vfl_conv {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;
using vlmathdsp::OwnedArray;

constexpr size_t kLayoutDims = 5;
// The sampled path splits height and width in blocks of this many samples.
constexpr uint64_t kPlaneGrain = 4;

// The array permuted by a one-based order of five dimensions.
vxArray* permuted(const vxArray* a, const double (&order)[kLayoutDims]) {
    OwnedArray o(vxCreateDoubleMatrix(1, kLayoutDims, vxREAL));
    std::copy(order, order + kLayoutDims, static_cast<double*>(o->data));
    vxArray* in[2] = {const_cast<vxArray*>(a), o.get()};
    vxArray* out[1] = {nullptr};
    vxPermuteFcn(1, out, 2, in);
    return out[0];
}

// Runs of the fast dimension go to tasks in blocks of this many elements.
constexpr uint64_t kRunGrain = 64;
// Bytes of one operand's tile in a product of the sampled path.
constexpr int64_t kTileBytes = 262144;

// The walk over height and width of a correlation: the second operand (filters) backwards.
struct PlaneGeometry {
    Sizes lo, hi, firstSize, secondSize;
    Strides outStride, firstStride, secondStride;
    ConvGeometry view() const { return {lo, hi, firstSize, secondSize, outStride, firstStride, secondStride}; }
};

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
    const uint64_t Y = sampleCount(rangeLo[0], rangeHi[0], stride[0]), H = sizeA[0], limit = INT_MAX;
    return N <= limit && H <= limit && Y <= limit && N * H <= limit && N * Y <= limit && F <= limit && C <= limit;
}

namespace {

vxArray* matrixCorrelation(const vxArray* A, const Sizes& sizeA, const vxArray* B, const Sizes& sizeB,
                           const Sizes& rangeLo, const Sizes& rangeHi, const Sizes& stride) {
    const uint64_t H = sizeA[0], W = sizeA[1], C = sizeA[2], N = sizeA[4], h = sizeB[0], w = sizeB[1], F = sizeB[3];
    const uint64_t Y = sampleCount(rangeLo[0], rangeHi[0], stride[0]), X = sampleCount(rangeLo[1], rangeHi[1], stride[1]);
    const bool unit = stride[0] == 1 && stride[1] == 1;
    // Unit strides: N, H, C, W against C, F, h, w into N, Y, F, X; a run of outputs along the
    // height is one product. Otherwise: N, C, H, W against F, C, h, w into F, N, Y, X; a run of
    // taps along the height is one product.
    OwnedArray images(unit ? permuted(A, {4, 5, 1, 3, 2}) : permuted(A, {5, 3, 1, 2, 4}));
    OwnedArray filters(unit ? permuted(B, {3, 4, 5, 1, 2}) : permuted(B, {4, 3, 1, 2, 5}));
    size_t unitDims[kLayoutDims] = {N, Y, F, X, 1}, sampledDims[kLayoutDims] = {F, N, Y, X, 1};
    OwnedArray out(vxCreateNumericArray(kLayoutDims, unit ? unitDims : sampledDims, vlmathdsp::classOf(A), vxREAL));
    const int64_t n = int64_t(N), f = int64_t(F), c = int64_t(C);
    PlaneGeometry p{{rangeLo[0], rangeLo[1]}, {rangeHi[0], rangeHi[1]}, {H, W}, {h, w}, {}, {}, {}};
    if (unit) {
        p.outStride = {n, n * int64_t(Y) * f}, p.firstStride = {n, n * int64_t(H) * c};
        p.secondStride = {-c * f, -c * f * int64_t(h)};
    } else {
        p.outStride = {f * n, f * n * int64_t(Y)}, p.firstStride = {n * c, n * c * int64_t(H)};
        p.secondStride = {-f * c, -f * c * int64_t(h)};
    }
    if (N && Y && F && X && parallel::clampToFull(p.lo, p.hi, p.firstSize, p.secondSize)) {
        vlmathdsp::ComputationalThreadScope scope;
        const ConvGeometry g = p.view();
        const ConvFlags flags{0, 0};
        vlmathdsp::withRealType(A, [&](auto type) {
            using T = typename decltype(type)::type;
            T* o = static_cast<T*>(out->data);
            const T* x = static_cast<const T*>(images->data);
            const T* k = static_cast<const T*>(filters->data);
            if (unit) {  // split along the width only: the runs of the height stay whole
                const ColumnGemmFunctor<T> op{{c, f, n, n * int64_t(Y), n * int64_t(H), c, 'N', 'N'}};
                parallel::runWalk<parallel::NDWalk::Plans>(op, o, x, k, g, flags, {1}, {1}, p.lo, p.hi);
                return;
            }
            const int64_t tile = std::max<int64_t>(kTileBytes / (int64_t(sizeof(T)) * c * std::max(f, n)), 1);
            const RowGemmFunctor<T> op{{c, n, f, f, f, n, 'N', 'T'}, c, tile};
            const Sizes count{Y, X};
            parallel::runWalk<parallel::NDWalk::StridedDense>(op, o, x, k, g, flags, {0, 1}, {kPlaneGrain, kPlaneGrain},
                                                              Sizes{0, 0}, count, &stride);
        });
    }
    // To Y, X, 1, F, N.
    return unit ? permuted(out.get(), {2, 4, 5, 3, 1}) : permuted(out.get(), {3, 4, 5, 1, 2});
}

}  // namespace

vxArray* gemmConv5D(const vxArray* A, const Sizes& sizeA, const vxArray* B, const Sizes& sizeB, const Sizes& rangeLo,
                    const Sizes& rangeHi) {
    return matrixCorrelation(A, sizeA, B, sizeB, rangeLo, rangeHi, Sizes(kLayoutDims, 1));
}

vxArray* gemmConv5DStrided(const vxArray* A, const Sizes& sizeA, const vxArray* B, const Sizes& sizeB,
                           const Sizes& rangeLo, const Sizes& rangeHi, const Sizes& stride) {
    return matrixCorrelation(A, sizeA, B, sizeB, rangeLo, rangeHi, stride);
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
