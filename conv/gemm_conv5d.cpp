// The matrix path of stridedConvn. A is permuted to N, H, C, W and B to C, F, h, w, so that at
// a kernel position (i, j) the images' pixels of one row run form an (N rows) x C matrix with
// channels N H apart, and the filters a C x F matrix. The result builds up as N, Y, F, X: a run
// of Y outputs is one taller product (N run rows), one run per kernel row and column.
#include "conv/gemm_conv5d.hpp"

#include <climits>
#include <vector>

#include "common/parallel_range.hpp"
#include "conv/kernels/strided_walk.hpp"
#include "module/argument_helpers.hpp"
#include "module/blas.hpp"
#include "module/owned_array.hpp"

namespace vfl_conv {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;
using vlmathdsp::OwnedArray;

constexpr size_t kLayoutDims = 5;

// The array permuted by a one-based order of five dimensions.
vxArray* permuted(const vxArray* a, const double (&order)[kLayoutDims]) {
    OwnedArray o(vxCreateDoubleMatrix(1, kLayoutDims, vxREAL));
    std::copy(order, order + kLayoutDims, static_cast<double*>(o->data));
    vxArray* in[2] = {const_cast<vxArray*>(a), o.get()};
    vxArray* out[1] = {nullptr};
    vxPermuteFcn(1, out, 2, in);
    return out[0];
}

template <class T>
void correlate(const T* a, const T* b, T* out, uint64_t H, uint64_t W, uint64_t C, uint64_t N, uint64_t h,
               uint64_t w, uint64_t F, uint64_t Y, uint64_t X, const Sizes& lo, const Sizes& stride) {
    const int64_t rowStep = int64_t(N);  // rows of a pixel run lie N apart, as do output rows
    const int lda = int(N * H), ldb = int(C), ldc = int(N * Y);
    vlcommon::forEachIndex(X > 1, uint64_t(0), X, uint64_t(1), [&](uint64_t x) {
        const int64_t p1 = int64_t(lo[1] + x * stride[1]) - int64_t(w - 1);
        T* column = out + N * Y * F * x;
        for (uint64_t j = 0; j < w; ++j) {
            const int64_t col = p1 + int64_t(j);
            if (col < 0 || col >= int64_t(W)) continue;
            for (uint64_t i = 0; i < h; ++i) {
                const T* filters = b + C * F * (i + h * j);
                const int64_t first = int64_t(lo[0]) - int64_t(h - 1) + int64_t(i);  // image row of output 0
                const T* pixels = a + N * H * C * uint64_t(col);
                if (stride[0] == 1) {  // rows [y0, y1) whose image row exists form one product
                    const int64_t y0 = std::max<int64_t>(0, -first), y1 = std::min<int64_t>(int64_t(Y), int64_t(H) - first);
                    if (y0 < y1)
                        vlmathdsp::gemmAdd(int(N * uint64_t(y1 - y0)), int(F), int(C), pixels + rowStep * (first + y0),
                                           lda, filters, ldb, column + rowStep * y0, ldc);
                    continue;
                }
                for (uint64_t y = 0; y < Y; ++y) {
                    const int64_t row = first + int64_t(y * stride[0]);
                    if (row >= 0 && row < int64_t(H))
                        vlmathdsp::gemmAdd(int(N), int(F), int(C), pixels + rowStep * row, lda, filters, ldb,
                                           column + rowStep * int64_t(y), ldc);
                }
            }
        }
    });
}

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

vxArray* gemmConv5D(const vxArray* A, const Sizes& sizeA, const vxArray* B, const Sizes& sizeB, const Sizes& rangeLo,
                    const Sizes& rangeHi, const Sizes& stride) {
    const uint64_t H = sizeA[0], W = sizeA[1], C = sizeA[2], N = sizeA[4], h = sizeB[0], w = sizeB[1], F = sizeB[3];
    const uint64_t Y = sampleCount(rangeLo[0], rangeHi[0], stride[0]), X = sampleCount(rangeLo[1], rangeHi[1], stride[1]);
    OwnedArray images(permuted(A, {4, 5, 1, 3, 2}));  // N, H, C, W
    OwnedArray filters(permuted(B, {3, 4, 5, 1, 2}));  // C, F, h, w
    size_t dims[kLayoutDims] = {N, Y, F, X, 1};
    OwnedArray out(vxCreateNumericArray(kLayoutDims, dims, vlmathdsp::classOf(A), vxREAL));
    if (N && Y && F && X) {
        vlmathdsp::ComputationalThreadScope scope;
        vlmathdsp::withRealType(A, [&](auto type) {
            using T = typename decltype(type)::type;
            correlate(static_cast<const T*>(images->data), static_cast<const T*>(filters->data),
                      static_cast<T*>(out->data), H, W, C, N, h, w, F, Y, X, rangeLo, stride);
        });
    }
    return permuted(out.get(), {2, 4, 5, 3, 1});  // Y, X, 1, F, N
}

}  // namespace vfl_conv
