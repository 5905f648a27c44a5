// Images X (H, W, C, N) and the gradient Y (oH, oW, F, N) as they are: for an image n, a gradient
// column ow and a filter tap (i, j), the rows of Y and the rows of X that meet are one contiguous
// stretch of each column, so the tap's F by C block += Y(stretch, ow, :, n)' X(stretch, w, :, n).
// Rounds of images run one after the other; within a round, tasks hold one tap and a fixed run
// of filters, so each block's products and their order never depend on the split.
#include "network/folded_gradient.hpp"

#include <algorithm>
#include <climits>

#include <oneapi/tbb/blocked_range3d.h>

#include "common/parallel_range.hpp"
#include "module/argument_helpers.hpp"
#include "module/blas.hpp"
#include "module/permute.hpp"

namespace vfl_network {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;
using vlmathdsp::OwnedArray;

// Filters per task, and the bytes of images and gradient that one round reads.
constexpr int64_t kFilterChunk = 32;
constexpr uint64_t kRoundBytes = 4 << 20;

// The sizes of the walk, as signed numbers.
struct Folded {
    int64_t H, W, C, N, oH, oW, F, s1, e0, start0, start1;
};

// Tap (i, j), filters [f0, f1), images [n0, n1). Image row h = oh + shift0 and column
// w = q1 - (oW - 1 - ow) s1, for the tap's full positions q.
template <class T>
void foldedTap(T* g, const T* x, const T* y, const Folded& f, int64_t i, int64_t j, int64_t f0, int64_t f1, int64_t n0,
               int64_t n1) {
    const int64_t shift0 = f.start0 + i - (f.oH - 1);
    const int64_t ohLo = std::max<int64_t>(0, -shift0), ohHi = std::min(f.oH, f.H - shift0);
    if (ohLo >= ohHi) return;
    T* out = g + f0 + f.F * f.C * (i + f.e0 * j);
    const int64_t q1 = f.start1 + j;
    for (int64_t n = n0; n < n1; ++n) {
        for (int64_t ow = 0; ow < f.oW; ++ow) {
            const int64_t w = q1 - (f.oW - 1 - ow) * f.s1;
            if (w < 0 || w >= f.W) continue;
            vlmathdsp::gemmAdd('T', 'N', f1 - f0, f.C, ohHi - ohLo, y + ohLo + f.oH * (ow + f.oW * (f0 + f.F * n)),
                               f.oH * f.oW, x + ohLo + shift0 + f.H * (w + f.W * f.C * n), f.H * f.W, out, f.F);
        }
    }
}

}  // namespace

bool foldsHeight(const GradientBox& b) { return b.expansion && b.stride[0] == 1; }

bool foldedFitsBlas(const GradientBox& b) {
    const uint64_t limit = INT_MAX;
    uint64_t x, y;
    return !__builtin_mul_overflow(b.firstDims[0], b.firstDims[1], &x) && x <= limit &&
           !__builtin_mul_overflow(b.secondDims[0], b.secondDims[1], &y) && y <= limit && b.firstDims[2] <= limit &&
           b.secondDims[2] <= limit;
}

vxArray* foldedFilterGradient(const vxArray* first, const vxArray* second, const GradientBox& b) {
    const uint64_t *fd = b.firstDims, *sd = b.secondDims;
    const uint64_t e0 = b.end[0] - b.start[0], e1 = b.end[1] - b.start[1];
    size_t dims[4] = {sd[2], fd[2], e0, e1};
    OwnedArray G(vxCreateNumericArray(4, dims, vlmathdsp::classOf(first), vxREAL));
    const Folded f{int64_t(fd[0]), int64_t(fd[1]), int64_t(fd[2]), int64_t(fd[3]), int64_t(sd[0]), int64_t(sd[1]),
                   int64_t(sd[2]), int64_t(b.stride[1]), int64_t(e0), int64_t(b.start[0]), int64_t(b.start[1])};
    const uint64_t imageBytes = (fd[0] * fd[1] * fd[2] + sd[0] * sd[1] * sd[2]) * vxGetElementSize(first);
    const int64_t perRound = int64_t(std::max<uint64_t>(kRoundBytes / imageBytes, 1));
    const int64_t chunks = (f.F + kFilterChunk - 1) / kFilterChunk;
    {
        vlmathdsp::ComputationalThreadScope scope;
        vlmathdsp::withRealType(first, [&](auto type) {
            using T = typename decltype(type)::type;
            T* g = static_cast<T*>(G->data);
            const T *x = static_cast<const T*>(first->data), *y = static_cast<const T*>(second->data);
            for (int64_t n0 = 0; n0 < f.N; n0 += perRound) {
                const int64_t n1 = std::min(f.N, n0 + perRound);
                const tbb::blocked_range3d<int64_t> tasks(0, chunks, 1, 0, f.e0, 1, 0, int64_t(e1), 1);
                vlcommon::runRange(tasks.pages().size() * tasks.rows().size() * tasks.cols().size() > 1, tasks,
                                   [&](const tbb::blocked_range3d<int64_t>& t) {
                    for (int64_t c = t.pages().begin(); c < t.pages().end(); ++c)
                        for (int64_t j = t.cols().begin(); j < t.cols().end(); ++j)
                            for (int64_t i = t.rows().begin(); i < t.rows().end(); ++i)
                                foldedTap(g, x, y, f, i, j, c * kFilterChunk, std::min(f.F, (c + 1) * kFilterChunk),
                                          n0, n1);
                });
            }
        });
    }
    return vlmathdsp::permuted(G.get(), {3, 4, 2, 1});
}

}  // namespace vfl_network
