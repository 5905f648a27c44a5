// windowNormalisation(X, windowSize, alpha, beta, k[, G]): each element divided by
// (k + alpha / n * the sum of squares of X over a window of n neighbouring channels at its pixel)
// to the power beta; with G, the per-element scale of the gradient form applied to G. Pixels are
// the first two dimensions, channels the third, images all further ones.
#include <algorithm>
#include <cmath>

#include <oneapi/tbb/blocked_range3d.h>

#include "common/parallel_range.hpp"
#include "module/argument_helpers.hpp"
#include "module/entries.hpp"
#include "module/exception.hpp"
#include "module/owned_array.hpp"
#include "network/arguments.hpp"

namespace vlmathdsp {

using namespace vfl_network;
using namespace matrix::detail::noninlined::vx_array_api;

namespace {

// Pixels per chunk of the sum of squares (on the stack), and the grains of pixels and images.
constexpr uint64_t kChunk = 256, kPixelGrain = 1024, kImageGrain = 16;

template <class T>
struct Norm {
    T a, beta, k, g, betaPlusOne;
    uint64_t n, h;
    bool gradient;

    // t^beta, with square roots alone for the three common exponents.
    T power(T t) const {
        if (beta == T(0.75)) {
            const T s = std::sqrt(t), u = s * t;
            return std::sqrt(u);
        }
        if (beta == T(0.5)) return std::sqrt(t);
        if (beta == T(0.25)) return std::sqrt(std::sqrt(t));
        return std::pow(t, beta);
    }
    // t^(beta + 1).
    T powerPlusOne(T t) const {
        if (beta == T(0.75)) return std::sqrt(std::sqrt(t) * t) * t;
        if (beta == T(0.5)) return std::sqrt(t) * t;
        if (beta == T(0.25)) return std::sqrt(std::sqrt(t)) * t;
        return std::pow(t, betaPlusOne);
    }

    // Pixels [p0, p1) of channel c of one image: x and r at the image's first element.
    void plane(T* r, const T* x, uint64_t P, uint64_t C, uint64_t c, uint64_t p0, uint64_t p1) const {
        // The window: channels j with c + h + 1 - n <= j <= c + h, inside [0, C).
        const uint64_t top = c + h + 1, lo = top > n ? top - n : 0, hi = std::min(C, top);
        T S[kChunk];
        for (uint64_t b = p0; b < p1; b += kChunk) {
            const uint64_t len = std::min(kChunk, p1 - b);
            std::fill(S, S + len, T(0));
            for (uint64_t j = lo; j < hi; ++j) {
                const T* xj = x + j * P + b;
                for (uint64_t i = 0; i < len; ++i) S[i] += xj[i] * xj[i];
            }
            T* rc = r + c * P + b;
            for (uint64_t i = 0; i < len; ++i) {
                const T t = a * S[i] + k;
                rc[i] = gradient ? ((t - S[i] * g) / powerPlusOne(t)) * rc[i] : rc[i] / power(t);
            }
        }
    }
};

template <class T>
Norm<T> normOf(double windowSize, double alpha, double beta, double k, bool gradient) {
    const uint64_t n = truncatedUnsigned(windowSize);
    Norm<T> f{};
    f.a = T(alpha) / T(n);
    f.beta = T(beta), f.k = T(k), f.g = (f.a + f.a) * f.beta, f.betaPlusOne = f.beta + T(1);
    f.n = n, f.h = n >> 1, f.gradient = gradient;
    return f;
}

bool numericScalar(const vxArray* a) {
    return vxIsNumericFlags(a) && !vxIsSparseFlags(a) && !vxIsComplexFlags(a) && vxIsScalar(a);
}

}  // namespace

void windowNormEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) {
    checkArgumentCounts(nlhs, 1, nrhs, 5, 6);
    const vxArray* input = prhs[0];
    const vxClassID id = classOf(input);
    if ((id != VX_DOUBLE_CLASS && id != VX_SINGLE_CLASS) || vxIsSparseFlags(input) || vxIsComplexFlags(input) ||
        vxIsEmpty(input))
        raiseBadSubscript("Invalid input data type.");
    for (int i = 1; i <= 4; ++i)
        if (!numericScalar(prhs[i])) raiseBadSubscript("Invalid scalar specification.");
    const double windowSize = vxGetScalar(prhs[1]);
    if (windowSize < 1.0) raiseBadSubscript("Invalid window size specification.");
    const bool gradient = nrhs > 5;
    if (gradient) {
        const vxArray* g = prhs[5];
        if (vxIsSparseFlags(g) || vxIsComplexFlags(g) || vxIsEmpty(g)) raiseBadSubscript("Invalid input data type.");
        if (classOf(g) != id) raiseBadSubscript("Input arrays must be of the same class.");
        if (g->numDims != input->numDims ||
            !std::equal(input->get_dimensions(), input->get_dimensions() + input->numDims, g->get_dimensions()))
            raiseBadSubscript("Input arrays must have the same dimensions.");
    }
    const std::vector<uint64_t> d = paddedSizes(input, std::max<size_t>(input->numDims, 3));
    uint64_t images = 1;
    for (size_t i = 3; i < d.size(); ++i) images *= d[i];
    const uint64_t P = d[0] * d[1], C = d[2];
    OwnedArray result(vxCreateDeepCopy(gradient ? prhs[5] : input));
    const double alpha = vxGetScalar(prhs[2]), beta = vxGetScalar(prhs[3]), k = vxGetScalar(prhs[4]);
    ComputationalThreadScope scope;
    withRealType(input, [&](auto type) {
        using T = typename decltype(type)::type;
        const Norm<T> f = normOf<T>(windowSize, alpha, beta, k, gradient);
        T* r = static_cast<T*>(result->data);
        const T* x = static_cast<const T*>(input->data);
        const tbb::blocked_range3d<uint64_t> range(0, P, kPixelGrain, 0, C, 1, 0, images, kImageGrain);
        vlcommon::runRange(P * C * images > kPixelGrain, range, [&](const tbb::blocked_range3d<uint64_t>& t) {
            for (uint64_t m = t.cols().begin(); m < t.cols().end(); ++m)
                for (uint64_t c = t.rows().begin(); c < t.rows().end(); ++c)
                    f.plane(r + m * P * C, x + m * P * C, P, C, c, t.pages().begin(), t.pages().end());
        });
    });
    plhs[0] = result.release();
}

}  // namespace vlmathdsp
