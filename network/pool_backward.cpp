// poolingBackward(grad, poolSize, padding, stride, inputSize[, compensation]): the gradient of
// average pooling, (I0, I1, C, N) from the result's gradient (oH, oW, C, N). A gather: each
// element sums the gradient elements whose windows cover it, so no two tasks write one element.
// At unit strides it is the convolution walk of pooling over the gradient; otherwise the same
// walk per pair of stride phases, none of the gradient expanded.
#include <algorithm>

#include <oneapi/tbb/blocked_range.h>

#include "common/parallel_range.hpp"
#include "module/argument_helpers.hpp"
#include "module/checked_size.hpp"
#include "module/entries.hpp"
#include "module/exception.hpp"
#include "module/owned_array.hpp"
#include "network/arguments.hpp"
#include "network/pool_walk.hpp"
#include "network/pooling_ops.hpp"

namespace vlmathdsp {

using namespace vfl_network;
using namespace matrix::detail::noninlined::vx_array_api;

namespace {


// One dimension of a phase of the strided gather: the result rows i = s u + r - p whose
// position i + p has remainder r, and the window's taps that land on the gradient's grid for them,
// ceil((k - r) / s) of them. Row i then sums gradient rows u - a for a below `taps`.
struct PhaseAxis {
    uint64_t taps, uLo, uHi, first;  // u in [uLo, uHi), the first at result row `first`

    bool plan(uint64_t k, uint64_t s, uint64_t p, uint64_t r, uint64_t rows) {
        if (r >= k) return false;
        taps = (k - 1 - r) / s + 1;
        uLo = p > r ? (p - r - 1) / s + 1 : 0;
        const uint64_t last = rows - 1 + p;  // the last position, rows + p - 1 >= r needed
        if (last < r) return false;
        uHi = (last - r) / s + 1;
        if (uLo >= uHi) return false;
        first = uLo * s + r - p;
        return true;
    }
};

// One image of the result: zeroed, then the sums, then the scaling, while it is in cache. When
// `split`, each stage is split over the image's columns or rows as well.
template <class T>
struct ImageGradient {
    const PoolSettings& set;
    uint64_t I0, I1, oH, oW, end[2];
    bool whole;  // divide by the whole window everywhere

    void operator()(T* out, const T* grad, bool split) const {
        std::fill(out, out + I0 * I1, T(0));
        const std::vector<uint64_t>&k = set.window, &p = set.padding, &s = set.stride;
        if (p[0] < end[0] && p[1] < end[1]) {
            if (s[0] == 1 && s[1] == 1) {
                const vfl_network::PoolBox box{{p[0], p[1]}, {end[0], end[1]}, {oH, oW}, {k[0], k[1]},
                                               {1, 1},       {1, int64_t(I0)}};
                vfl_network::walkImage<vfl_network::Sumdot<T>>(out, grad, box, split);
            } else {
                phases(out, grad, split);
            }
        }
        vlcommon::runRange(split, uint64_t(0), I1, uint64_t(1), [&](const tbb::blocked_range<uint64_t>& js) {
            for (uint64_t j = js.begin(); j < js.end(); ++j) scaleColumn(out + j * I0, j);
        });
    }

    // Other strides: per pair of phases, a unit-stride pooling walk of the gradient with the
    // phase's taps, into the result rows and columns of that phase (stride apart). The phases
    // cover disjoint elements, so every element still has one writer.
    void phases(T* out, const T* grad, bool split) const {
        const std::vector<uint64_t>&k = set.window, &p = set.padding, &s = set.stride;
        const uint64_t rows[2] = {end[0] - p[0], end[1] - p[1]};
        for (uint64_t r1 = 0; r1 < std::min(s[1], k[1]); ++r1) {
            for (uint64_t r0 = 0; r0 < std::min(s[0], k[0]); ++r0) {
                PhaseAxis a0, a1;
                if (!a0.plan(k[0], s[0], p[0], r0, rows[0]) || !a1.plan(k[1], s[1], p[1], r1, rows[1])) continue;
                const vfl_network::PoolBox box{{a0.uLo, a1.uLo}, {a0.uHi, a1.uHi}, {oH, oW}, {a0.taps, a1.taps},
                                               {1, 1}, {int64_t(s[0]), int64_t(s[1] * I0)}};
                vfl_network::walkImage<vfl_network::Sumdot<T>>(out + a0.first + a1.first * I0, grad, box, split);
            }
        }
    }

    // By the whole window, or, with compensation off, the first and last rows and columns by the
    // window less the padding on their side (unsigned, as it stands).
    void scaleColumn(T* column, uint64_t j) const {
        const std::vector<uint64_t>&k = set.window, &p = set.padding;
        if (whole) {
            const T cells = vfl_network::windowCells<T>(k[0], k[1]);
            for (uint64_t i = 0; i < I0; ++i) column[i] /= cells;
            return;
        }
        const uint64_t colCount = k[1] - (j == I1 - 1 ? p[3] : 0) - (j == 0 ? p[1] : 0);
        for (uint64_t i = 0; i < I0; ++i) {
            const uint64_t rowCount = k[0] - (i == I0 - 1 ? p[2] : 0) - (i == 0 ? p[0] : 0);
            column[i] /= T(rowCount) * T(colCount);
        }
    }
};

}  // namespace

void poolBackwardEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) {
    checkArgumentCounts(nlhs, 1, nrhs, 5, 6);
    const vxArray* grad = prhs[0];
    const PoolSettings settings = readPoolSettings(prhs);
    const std::vector<uint64_t>&k = settings.window, &p = settings.padding, &s = settings.stride;
    const std::vector<uint64_t> I = convertedValues(prhs[4], 2, "Invalid input size specification.");
    if (std::min(I[0], I[1]) == 0) raiseBadSubscript("Input size must be positive integers.");
    const bool compensation = nrhs > 5 ? truthValue(prhs[5], "Invalid pooling compensation specification.") : true;

    const std::vector<uint64_t> d = paddedSizes(grad, 4);
    // Where the windows stop: past the last gradient row's window, or past the image.
    uint64_t end[2];
    for (size_t a = 0; a < 2; ++a)
        end[a] = std::min(saturatedSum(saturatedProduct(d[a] - 1, s[a]), k[a]), saturatedSum(p[a], I[a]));
    size_t dims[4] = {I[0], I[1], d[2], d[3]};
    OwnedArray result(vxCreateUninitNumericArray(4, dims, classOf(grad), vxREAL));
    const uint64_t images = d[2] * d[3];
    const bool noPadding = !(p[0] || p[1] || p[2] || p[3]);
    ComputationalThreadScope scope;
    withRealType(grad, [&](auto type) {
        using T = typename decltype(type)::type;
        T* out = static_cast<T*>(result->data);
        const T* g = static_cast<const T*>(grad->data);
        const ImageGradient<T> image{settings, I[0], I[1], d[0], d[1], {end[0], end[1]}, compensation || noPadding};
        vlcommon::forEachIndex(images > 1, uint64_t(0), images, uint64_t(1), [&](uint64_t n) {
            image(out + n * I[0] * I[1], g + n * d[0] * d[1], images < vfl_network::kNestedImages);
        });
    });
    plhs[0] = result.release();
}

}  // namespace vlmathdsp
