// Both operands are permuted so that a spatial position holds a matrix, P by R in the image or
// gradient X, P by Q in Y, P being the dimension summed over: N for the filter gradient, F for
// the image gradient. The result G holds Q by R blocks (filter gradient) or R by Q (image
// gradient), one product per pair of positions: the expanded operand's block, transposed,
// times a run of the real operand's blocks. Unit strides go to the folded filter gradient and to
// the forward core's batch convolution instead.
#include "network/gradient.hpp"

#include <algorithm>
#include <climits>
#include <vector>

#include <oneapi/tbb/blocked_range2d.h>

#include "common/parallel_range.hpp"
#include "module/argument_helpers.hpp"
#include "conv/batch_correlation.hpp"
#include "module/permute.hpp"
#include "network/backward_ops.hpp"
#include "network/folded_gradient.hpp"

namespace vfl_network {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;
using vlmathdsp::OwnedArray;
using vlmathdsp::permuted;

// The sizes of the walk, both operands named by their role: the real one, read as it is, and the
// expanded one. Steps count elements.
struct Roles {
    uint64_t P, Q, R, e0, e1;
    const uint64_t *realDims, *expandedDims;
    int64_t realBlock, expandedBlock, outBlock;
    bool reversed;
};

Roles rolesOf(const GradientBox& b) {
    const uint64_t *fd = b.firstDims, *sd = b.secondDims;
    const uint64_t P = sd[3], Q = sd[2], R = b.expansion ? fd[2] : fd[3];
    Roles r{P, Q, R, b.end[0] - b.start[0], b.end[1] - b.start[1], fd, sd, int64_t(R * P), int64_t(Q * P),
            int64_t(Q * R), b.expansion};
    if (!b.expansion) std::swap(r.realDims, r.expandedDims), std::swap(r.realBlock, r.expandedBlock);
    return r;
}

// One-based orders for the permutations around the walk. A spatial position's block puts the
// summed dimension P first:
//   image (H, W, C, N) to (N, C, H, W); result's gradient (oH, oW, F, N) to (N, F, oH, oW) when it is
//   the second operand (filter gradient), to (F, N, oH, oW) when it is the first (image gradient);
//   filters (kH, kW, C, F) to (F, C, kH, kW).
// G's (Q or R, R or Q, e0, e1) goes back to (e0, e1, C, F or N).
const std::vector<double> kSummedFirstOfImage{4, 3, 1, 2}, kSummedFirstOfGradient{3, 4, 1, 2},
    kSummedFirstOfSecond{4, 3, 1, 2}, kPositionsFirst{3, 4, 2, 1};
// As a batch correlation (unit strides): the image (H, W, C, N) as it is; the result's gradient
// (oH, oW, F, N) as filters (kH, kW, C, F) with its F and N exchanged.
const vfl_conv::BatchLayout kGradientAsBatch{{1, 2, 3, 4}, {1, 2, 4, 3}, false, true};

// What the folded and convolution forms leave (some stride above 1): tasks of fixed chunks of
// `tile` rows by runs of columns.
template <class T>
void stridedGradient(const ColumnGemmFunctor<T>& gemm, T* out, const T* real, const T* expanded, const Roles& r,
                     const GradientBox& b, uint64_t tile) {
    const ExpandedAxis rows{r.realDims[0], r.expandedDims[0], b.stride[0], r.reversed};
    const ExpandedAxis columns{r.realDims[1], r.expandedDims[1], b.stride[1], r.reversed};
    // The full convolution ends at real + (count - 1) stride; past it there is nothing to add.
    const uint64_t rowEnd = std::min(b.end[0], rows.real + (rows.count - 1) * rows.stride);
    const uint64_t columnEnd = std::min(b.end[1], columns.real + (columns.count - 1) * columns.stride);
    if (b.start[0] >= rowEnd || b.start[1] >= columnEnd) return;
    const OuterBackwardOp<T> op{gemm,
                                expanded,
                                rows,
                                columns,
                                r.outBlock,
                                r.outBlock * int64_t(r.e0),
                                r.realBlock,
                                r.realBlock * int64_t(rows.real),
                                r.expandedBlock,
                                r.expandedBlock * int64_t(rows.count)};
    const uint64_t chunks = (rowEnd - b.start[0] + tile - 1) / tile;
    const tbb::blocked_range2d<uint64_t> range(0, chunks, 1, b.start[1], columnEnd, 1);
    vlcommon::runRange(true, range, [&](const tbb::blocked_range2d<uint64_t>& t) {
        for (uint64_t c = t.rows().begin(); c < t.rows().end(); ++c) {
            const uint64_t rLo = b.start[0] + c * tile, rHi = std::min(rLo + tile, rowEnd);
            T* o = out + int64_t(rLo - b.start[0]) * op.outRowStep + int64_t(t.cols().begin() - b.start[1]) * op.outColumnStep;
            op(o, rLo, rHi, t.cols().begin(), t.cols().end(), real);
        }
    });
}

// The image gradient at unit strides is the convolution of the gradient with the filters, their
// channels and filters exchanged.
vfl_conv::BatchBox convolutionBox(const GradientBox& b) {
    const uint64_t *fd = b.firstDims, *sd = b.secondDims;
    return {fd[0], fd[1], fd[2], fd[3], sd[0], sd[1], sd[2], {b.start[0], b.start[1]}, {b.end[0], b.end[1]}, {1, 1},
            {b.end[0] - b.start[0], b.end[1] - b.start[1]}};
}

bool byConvolution(const GradientBox& b) { return !b.expansion && b.stride[0] == 1 && b.stride[1] == 1; }

}  // namespace

bool gradientFitsBlas(const GradientBox& b) {
    if (foldsHeight(b)) return foldedFitsBlas(b);
    if (byConvolution(b)) return vfl_conv::batchFitsBlas(convolutionBox(b));
    const Roles r = rolesOf(b);
    const uint64_t limit = INT_MAX;
    // n of a product is Q or R times a run of rows, at most the result's height.
    uint64_t n;
    return r.P <= limit && r.Q <= limit && r.R <= limit && !__builtin_mul_overflow(std::max(r.Q, r.R), r.e0, &n) &&
           n <= limit;
}

vxArray* convolutionGradient(const vxArray* first, const vxArray* second, const GradientBox& b) {
    if (foldsHeight(b)) return foldedFilterGradient(first, second, b);
    if (byConvolution(b)) {
        return vfl_conv::correlateBatch(first, second, kGradientAsBatch, convolutionBox(b));
    }
    const Roles r = rolesOf(b);
    OwnedArray X(permuted(first, b.expansion ? kSummedFirstOfImage : kSummedFirstOfGradient));
    OwnedArray Y(permuted(second, kSummedFirstOfSecond));
    size_t dims[4] = {b.expansion ? r.Q : r.R, b.expansion ? r.R : r.Q, r.e0, r.e1};
    OwnedArray G(vxCreateNumericArray(4, dims, vlmathdsp::classOf(first), vxREAL));
    const uint64_t blockElements = b.expansion ? b.firstDims[3] * b.firstDims[2] : b.secondDims[3] * b.secondDims[2];
    const uint64_t tile = std::max<uint64_t>(vfl_conv::kTileBytes / vxGetElementSize(first) / blockElements, 1);
    {
        vlmathdsp::ComputationalThreadScope scope;
        vlmathdsp::withRealType(first, [&](auto type) {
            using T = typename decltype(type)::type;
            const int64_t P = int64_t(r.P), Q = int64_t(r.Q), R = int64_t(r.R);
            // C += op(A) op(B): A the expanded operand's P by (Q or R) block, transposed.
            const ColumnGemmFunctor<T> gemm{b.expansion ? vfl_conv::GemmOpParams{P, R, Q, Q, P, P, 'T', 'N'}
                                                        : vfl_conv::GemmOpParams{P, Q, R, R, P, P, 'T', 'N'}};
            const T* x = static_cast<const T*>(X->data);
            const T* y = static_cast<const T*>(Y->data);
            const T* real = b.expansion ? x : y;
            const T* expanded = b.expansion ? y : x;
            T* out = static_cast<T*>(G->data);
            stridedGradient(gemm, out, real, expanded, r, b, tile);
        });
    }
    X = OwnedArray(), Y = OwnedArray();
    return permuted(G.get(), kPositionsFirst);
}

}  // namespace vfl_network
