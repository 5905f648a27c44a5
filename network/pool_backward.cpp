// poolingBackward(grad, poolSize, padding, stride, inputSize[, compensation]): the gradient of
// average pooling, (I0, I1, C, N) from the result's gradient (oH, oW, C, N). A gather: each
// element sums the gradient elements whose windows cover it, so no two tasks write one element.
// At unit strides it is the convolution walk of pooling over the gradient; otherwise each
// element reads only the gradient elements that stand on the stride's grid, none expanded.
#include <algorithm>

#include <oneapi/tbb/blocked_range3d.h>

#include "common/parallel_range.hpp"
#include "module/argument_helpers.hpp"
#include "module/entries.hpp"
#include "module/exception.hpp"
#include "module/owned_array.hpp"
#include "network/arguments.hpp"
#include "network/pool_walk.hpp"
#include "network/pooling_ops.hpp"

namespace vlmathdsp {

using namespace network;
using namespace matrix::detail::noninlined::vx_array_api;

namespace {

constexpr uint64_t kScaleGrain = 4096, kScaleRowGrain = 16;

uint64_t saturatedSum(uint64_t a, uint64_t b) { return a + b < a ? UINT64_MAX : a + b; }
uint64_t saturatedProduct(uint64_t a, uint64_t b) {
    uint64_t r;
    return __builtin_mul_overflow(a, b, &r) ? UINT64_MAX : r;
}

// One dimension of the gather: the gradient elements o (of `count`) whose window, starting at
// position o stride of the full convolution, covers position q: [first, last).
struct GatherAxis {
    uint64_t window, stride, count, padding;
    void covering(uint64_t q, uint64_t& first, uint64_t& last) const {
        first = q + 1 > window ? (q - window) / stride + 1 : 0;
        last = std::min(count, q / stride + 1);
    }
};

// Result columns [j0, j1) of one image, rows [0, rows): for each column of the gradient that
// covers it, ascending, its elements in ascending order, each added into the rows its window
// covers. So every element receives its terms in the order of the gather, column by column and
// row by row, and only the task that owns the column writes it.
template <class T>
void gatherColumns(T* out, const T* grad, uint64_t I0, uint64_t rows, uint64_t j0, uint64_t j1, const GatherAxis& r,
                   const GatherAxis& c) {
    // Gradient rows whose windows meet the result's rows [0, rows).
    uint64_t o0, o1, unused;
    r.covering(r.padding, o0, unused);
    r.covering(r.padding + rows - 1, unused, o1);
    for (uint64_t j = j0; j < j1; ++j) {
        T* column = out + j * I0;
        uint64_t c0, c1;
        c.covering(j + c.padding, c0, c1);
        for (uint64_t oc = c0; oc < c1; ++oc) {
            const T* g = grad + oc * r.count;
            for (uint64_t o = o0; o < o1; ++o) {
                // Window rows [o s - p, o s - p + k) of the result, clipped.
                const uint64_t top = o * r.stride, bottom = saturatedSum(top, r.window);
                const uint64_t i0 = top > r.padding ? top - r.padding : 0;
                const uint64_t i1 = std::min(rows, bottom > r.padding ? bottom - r.padding : 0);
                const T v = g[o];
                for (uint64_t i = i0; i < i1; ++i) column[i] += v;
            }
        }
    }
}

template <class T>
void gatherImages(T* out, const T* grad, uint64_t images, uint64_t I0, uint64_t I1, uint64_t rows, uint64_t cols,
                  const GatherAxis& r, const GatherAxis& c) {
    const bool nested = images < vfl_network::kNestedImages;
    vlcommon::forEachIndex(images > 1, uint64_t(0), images, uint64_t(1), [&](uint64_t n) {
        T* o = out + n * I0 * I1;
        const T* g = grad + n * r.count * c.count;
        vlcommon::runRange(nested, uint64_t(0), cols, uint64_t(1), [&](const tbb::blocked_range<uint64_t>& js) {
            gatherColumns(o, g, I0, rows, js.begin(), js.end(), r, c);
        });
    });
}

bool readCompensation(const vxArray* a) {
    const vxClassID id = classOf(a);
    if ((id != VX_DOUBLE_CLASS && id != VX_LOGICAL_CLASS) || !vxIsScalar(a))
        raiseBadSubscript("Invalid pooling compensation specification.");
    return vxGetScalar(a) != 0;
}

// Each element divided by the whole window, or, with compensation off, the first and last rows
// and columns by the window less the padding on their side (unsigned, as it stands).
template <class T>
void scale(T* out, uint64_t I0, uint64_t I1, uint64_t images, const PoolSettings& s, bool whole) {
    const std::vector<uint64_t>&k = s.window, &p = s.padding;
    if (whole) {
        uint64_t product;
        const T cells = __builtin_mul_overflow(k[0], k[1], &product) ? T(double(k[0]) * double(k[1])) : T(product);
        const uint64_t count = I0 * I1 * images;
        vlcommon::runRange(count > kScaleGrain, uint64_t(0), count, kScaleGrain,
                           [&](const tbb::blocked_range<uint64_t>& r) {
                               for (uint64_t i = r.begin(); i < r.end(); ++i) out[i] /= cells;
                           });
        return;
    }
    const tbb::blocked_range3d<uint64_t> range(0, images, 1, 0, I1, 1, 0, I0, kScaleRowGrain);
    vlcommon::runRange(I0 * I1 * images > kScaleGrain, range, [&](const tbb::blocked_range3d<uint64_t>& t) {
        for (uint64_t n = t.pages().begin(); n < t.pages().end(); ++n)
            for (uint64_t j = t.rows().begin(); j < t.rows().end(); ++j) {
                const uint64_t colCount = k[1] - (j == I1 - 1 ? p[3] : 0) - (j == 0 ? p[1] : 0);
                T* column = out + (n * I1 + j) * I0;
                for (uint64_t i = t.cols().begin(); i < t.cols().end(); ++i) {
                    const uint64_t rowCount = k[0] - (i == I0 - 1 ? p[2] : 0) - (i == 0 ? p[0] : 0);
                    column[i] /= T(rowCount) * T(colCount);
                }
            }
    });
}

}  // namespace

void poolBackwardEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) {
    checkArgumentCounts(nlhs, 1, nrhs, 5, 6);
    const vxArray* grad = prhs[0];
    const PoolSettings settings = readPoolSettings(prhs);
    const std::vector<uint64_t>&k = settings.window, &p = settings.padding, &s = settings.stride;
    const std::vector<uint64_t> I = convertedValues(prhs[4], 2, "Invalid input size specification.");
    if (std::min(I[0], I[1]) == 0) raiseBadSubscript("Input size must be positive integers.");
    const bool compensation = nrhs > 5 ? readCompensation(prhs[5]) : true;

    const std::vector<uint64_t> d = paddedSizes(grad, 4);
    // Positions of the full convolution of the stride-expanded gradient with the window.
    uint64_t end[2];
    for (size_t a = 0; a < 2; ++a)
        end[a] = std::min(saturatedSum(saturatedProduct(d[a] - 1, s[a]), k[a]), saturatedSum(p[a], I[a]));
    size_t dims[4] = {I[0], I[1], d[2], d[3]};
    OwnedArray result(vxCreateNumericArray(4, dims, classOf(grad), vxREAL));
    const uint64_t images = d[2] * d[3];
    ComputationalThreadScope scope;
    withRealType(grad, [&](auto type) {
        using T = typename decltype(type)::type;
        T* out = static_cast<T*>(result->data);
        const T* g = static_cast<const T*>(grad->data);
        if (p[0] < end[0] && p[1] < end[1]) {
            if (s[0] == 1 && s[1] == 1) {
                const vfl_network::PoolBox box{{p[0], p[1]}, {end[0], end[1]}, {d[0], d[1]}, {k[0], k[1]},
                                               {1, 1},       I[0],           I[0] * I[1]};
                vfl_network::walkImages<vfl_network::Sumdot<T>>(out, g, images, box);
            } else {
                const GatherAxis rows{k[0], s[0], d[0], p[0]}, cols{k[1], s[1], d[1], p[1]};
                gatherImages(out, g, images, I[0], I[1], end[0] - p[0], end[1] - p[1], rows, cols);
            }
        }
        const bool noPadding = !(p[0] || p[1] || p[2] || p[3]);
        scale(out, I[0], I[1], images, settings, compensation || noPadding);
    });
    plhs[0] = result.release();
}

}  // namespace vlmathdsp
