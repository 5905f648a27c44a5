// The matrix path of stridedConvn. A is permuted to N, H, C, W and B to C, F, h, w, so that at
// a kernel position (i, j) the images' pixels of one row run form an (N rows) x C matrix with
// channels N H apart, and the filters a C x F matrix. The result builds up as N, Y, F, X: a run
// of Y outputs is one taller product (N run rows), one run per kernel row and column.
#include "conv/conv5d.hpp"

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

// Runs of the fast dimension go to tasks in blocks of this many elements.
constexpr uint64_t kRunGrain = 64;

// Walks the non-zero elements of the sparse operand S (dims s0..s4), ascending with dimension 0
// fastest; for each, every output position (y, x) it reaches gets one run along the fast
// dimension of the permuted dense operand D. `fast` in [f0, f1) is the task's part of that run.
// bSparse: S is B (h, w, C, F, 1), D is A as N, H, W, C and the result N, Y, X, F; otherwise S
// is A (H, W, C, 1, N), D is B as F, h, w, C and the result F, Y, X, N.
template <class T>
void sparseRuns(const T* S, const Sizes& sizeS, const T* D, T* out, bool bSparse, uint64_t H, uint64_t W, uint64_t h,
                uint64_t w, uint64_t fastLength, uint64_t Y, uint64_t X, const Sizes& lo, uint64_t f0, uint64_t f1) {
    const uint64_t s0 = sizeS[0], s1 = sizeS[1], s2 = sizeS[2], s3 = sizeS[3] * sizeS[4];
    const uint64_t dRows = bSparse ? H : h, dCols = bSparse ? W : w;
    uint64_t e = 0;
    for (uint64_t l = 0; l < s3; ++l)
        for (uint64_t c = 0; c < s2; ++c)
            for (uint64_t q = 0; q < s1; ++q)
                for (uint64_t r = 0; r < s0; ++r, ++e) {
                    const T tap = S[e];
                    if (tap == T(0)) continue;
                    // Output y meets image row lo0 + y - (h - 1) + i with filter row i.
                    for (uint64_t x = 0; x < X; ++x) {
                        const int64_t px = int64_t(lo[1] + x) - int64_t(w - 1);
                        const int64_t dc = bSparse ? px + int64_t(q) : int64_t(q) - px;  // D's column
                        if (dc < 0 || dc >= int64_t(dCols)) continue;
                        for (uint64_t y = 0; y < Y; ++y) {
                            const int64_t py = int64_t(lo[0] + y) - int64_t(h - 1);
                            const int64_t dr = bSparse ? py + int64_t(r) : int64_t(r) - py;
                            if (dr < 0 || dr >= int64_t(dRows)) continue;
                            const T* run = D + fastLength * (uint64_t(dr) + dRows * (uint64_t(dc) + dCols * c));
                            T* target = out + fastLength * (y + Y * (x + X * l));
                            vlcommon::axpyContiguous(target + f0, run + f0, tap, f1 - f0);
                        }
                    }
                }
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

vxArray* axpyConv5D(const vxArray* A, const Sizes& sizeA, const vxArray* B, const Sizes& sizeB, const Sizes& rangeLo,
                    const Sizes& rangeHi, bool bSparse) {
    const uint64_t H = sizeA[0], W = sizeA[1], N = sizeA[4], h = sizeB[0], w = sizeB[1], F = sizeB[3];
    const uint64_t Y = rangeHi[0] - rangeLo[0], X = rangeHi[1] - rangeLo[1];
    const uint64_t fast = bSparse ? N : F, slow = bSparse ? F : N;
    // The dense operand with its batch or filter dimension first: A as N, H, W, C; B as F, h, w, C.
    OwnedArray dense(bSparse ? permuted(A, {5, 1, 2, 3, 4}) : permuted(B, {4, 1, 2, 3, 5}));
    size_t dims[kLayoutDims] = {fast, Y, X, 1, slow};
    OwnedArray out(vxCreateNumericArray(kLayoutDims, dims, vlmathdsp::classOf(A), vxREAL));
    if (fast && slow && Y && X) {
        vlmathdsp::ComputationalThreadScope scope;
        vlmathdsp::withRealType(A, [&](auto type) {
            using T = typename decltype(type)::type;
            const vxArray* S = bSparse ? B : A;
            vlcommon::runRange(fast > kRunGrain, uint64_t(0), fast, kRunGrain, [&](const tbb::blocked_range<uint64_t>& r) {
                sparseRuns(static_cast<const T*>(S->data), bSparse ? sizeB : sizeA, static_cast<const T*>(dense->data),
                           static_cast<T*>(out->data), bSparse, H, W, h, w, fast, Y, X, rangeLo, r.begin(), r.end());
            });
        });
    }
    // To Y, X, 1, F, N.
    return bSparse ? permuted(out.get(), {2, 3, 4, 5, 1}) : permuted(out.get(), {2, 3, 4, 1, 5});
}

}  // namespace vfl_conv
