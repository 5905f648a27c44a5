// poolingForward(input, poolSize, padding, stride): maximum (slot 12) or average (slot 13) pooling
// of images (H, W, C, N) into (oH, oW, C, N). Each image is convolved with a virtual window of
// ones by the convolution walks, whose operator takes the maximum or the sum; the padding is
// never visited. Averages divide by the whole window, padding cells included.
#include <algorithm>
#include <limits>

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

// One dimension: the output count, the outputs `skip` that lie wholly in the leading padding,
// and the full-convolution positions [start, end) of the outputs from there on.
struct PoolAxis {
    uint64_t out, skip, start, end;
};

PoolAxis poolAxis(uint64_t k, uint64_t p, uint64_t s, uint64_t padded) {
    PoolAxis a{(padded - k) / s + 1, 0, k - 1 - std::min(p, k - 1), 0};
    if (p >= k) {  // the first output reaching the image: position k - p - 1 + skip s >= 0
        const uint64_t d = p + 1 - k;
        a.skip = (d - 1) / s + 1;
        a.start = s - 1 - (d - 1) % s;
    }
    if (a.skip < a.out) a.end = (a.out - a.skip - 1) * s + a.start + 1;
    return a;
}

void poolingForward(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs, int mode) {
    checkArgumentCounts(nlhs, 1, nrhs, 4, 4);
    const vxArray* input = prhs[0];
    const vxClassID id = classOf(input);
    const PoolSettings settings = readPoolSettings(prhs);
    const std::vector<uint64_t>&k = settings.window, &p = settings.padding, &s = settings.stride;
    const std::vector<uint64_t> d = paddedSizes(input, 4);
    const uint64_t padded[2] = {addSizes(addSizes(d[0], p[0]), p[2]), addSizes(addSizes(d[1], p[1]), p[3])};
    if (padded[0] < k[0] || padded[1] < k[1]) raiseBadSubscript("Pooling cannot be larger than output size.");

    const PoolAxis a[2] = {poolAxis(k[0], p[0], s[0], padded[0]), poolAxis(k[1], p[1], s[1], padded[1])};
    size_t dims[4] = {a[0].out, a[1].out, d[2], d[3]};
    OwnedArray result(vxCreateUninitNumericArray(4, dims, id, vxREAL));
    ComputationalThreadScope scope;
    withRealType(input, [&](auto type) {
        using T = typename decltype(type)::type;
        T* out = static_cast<T*>(result->data);
        const T* in = static_cast<const T*>(input->data);
        const T fill = mode == 0 ? std::numeric_limits<T>::lowest() : T(0);
        const vfl_network::PoolBox box{{a[0].start, a[1].start}, {a[0].end, a[1].end}, {d[0], d[1]}, {k[0], k[1]},
                                       {s[0], s[1]}, {1, int64_t(a[0].out)}};
        const bool any = a[0].skip < a[0].out && a[1].skip < a[1].out;
        const T cells = vfl_network::windowCells<T>(k[0], k[1]);
        const uint64_t outImage = a[0].out * a[1].out, inImage = d[0] * d[1], images = d[2] * d[3];
        const bool split = images < vfl_network::kNestedImages;
        // Per image, while it is in cache: the fill, the walk from the first output that reaches the
        // image, and for averages the division.
        vlcommon::forEachIndex(images > 1, uint64_t(0), images, uint64_t(1), [&](uint64_t n) {
            T* o = out + n * outImage;
            std::fill(o, o + outImage, fill);
            T* first = o + a[0].skip + a[1].skip * a[0].out;
            if (any && mode == 0) vfl_network::walkImage<vfl_network::Maxdot<T>>(first, in + n * inImage, box, split);
            if (any && mode == 1) vfl_network::walkImage<vfl_network::Sumdot<T>>(first, in + n * inImage, box, split);
            if (mode == 1)
                for (uint64_t i = 0; i < outImage; ++i) o[i] /= cells;
        });
    });
    plhs[0] = result.release();
}

}  // namespace

void poolForwardMaxEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) {
    poolingForward(nlhs, plhs, nrhs, prhs, 0);
}

void poolForwardAverageEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) {
    poolingForward(nlhs, plhs, nrhs, prhs, 1);
}

}  // namespace vlmathdsp
