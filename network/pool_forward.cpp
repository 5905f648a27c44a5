// poolingForward(input, poolSize, padding, stride): maximum (slot 12) or average (slot 13) pooling
// of images (H, W, C, N) into (oH, oW, C, N). Each image is convolved with a virtual window of
// ones by the convolution walks, whose operator takes the maximum or the sum; the padding is
// never visited. Averages divide by the whole window, padding cells included.
#include <algorithm>
#include <limits>

#include "common/parallel_range.hpp"
#include "conv/parallel/wrappers_nd.hpp"
#include "module/argument_helpers.hpp"
#include "module/checked_size.hpp"
#include "module/entries.hpp"
#include "module/exception.hpp"
#include "module/owned_array.hpp"
#include "network/arguments.hpp"
#include "network/pooling_ops.hpp"

namespace vlmathdsp {

using namespace network;
using namespace matrix::detail::noninlined::vx_array_api;

namespace {

using vfl_conv::Sizes;
using vfl_conv::Strides;

// Grains of the walk over one image's outputs, rows then columns, and of the final division.
constexpr uint64_t kPoolGrain = 16, kDivideGrain = 4096;
// Fewer images than this split each image's walk as well.
constexpr uint64_t kNestedImages = 8;

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

template <class Op, class T>
void poolImages(T* out, const T* in, uint64_t images, uint64_t H, uint64_t W, const uint64_t* k, const uint64_t* s,
                const PoolAxis* a) {
    Sizes lo{a[0].start, a[1].start}, hi{a[0].end, a[1].end};
    const Sizes image{H, W}, window{k[0], k[1]};
    if (a[0].skip >= a[0].out || a[1].skip >= a[1].out || !vfl_conv::parallel::clampToFull(lo, hi, image, window)) return;
    const uint64_t oH = a[0].out, outImage = oH * a[1].out, inImage = H * W;
    const Strides outStride{1, int64_t(oH)}, inStride{1, int64_t(H)}, windowStride{0, 0};
    const vfl_conv::ConvGeometry g{lo, hi, image, window, outStride, inStride, windowStride};
    const bool unit = s[0] == 1 && s[1] == 1;
    const Sizes stride{s[0], s[1]};
    const Sizes count{vfl_conv::sampleCount(lo[0], hi[0], s[0]), vfl_conv::sampleCount(lo[1], hi[1], s[1])};
    const bool nested = images < kNestedImages;
    const std::vector<size_t> dims = nested ? std::vector<size_t>{0, 1} : std::vector<size_t>{};
    static const T one = 1;
    vlcommon::forEachIndex(images > 1, uint64_t(0), images, uint64_t(1), [&](uint64_t i) {
        T* o = out + i * outImage + a[0].skip + a[1].skip * oH;
        const T* x = in + i * inImage;
        using vfl_conv::parallel::NDWalk;
        if (unit)
            vfl_conv::parallel::runWalk<NDWalk::Plans>(Op{}, o, x, &one, g, vfl_conv::ConvFlags{0, 0}, dims,
                                                       {kPoolGrain, kPoolGrain}, lo, hi);
        else
            vfl_conv::parallel::runWalk<NDWalk::StridedDense>(Op{}, o, x, &one, g, vfl_conv::ConvFlags{0, 0}, dims,
                                                              {kPoolGrain, kPoolGrain}, Sizes{0, 0}, count, &stride);
    });
}

void poolingForward(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs, int mode) {
    checkArgumentCounts(nlhs, 1, nrhs, 4, 4);
    const vxArray* input = prhs[0];
    const vxClassID id = classOf(input);
    if ((id != VX_DOUBLE_CLASS && id != VX_SINGLE_CLASS) || vxIsSparseFlags(input) || vxIsComplexFlags(input) ||
        vxIsEmpty(input) || input->numDims > 4)
        raiseBadSubscript("Invalid input array.");
    const std::vector<uint64_t> k = convertedValues(prhs[1], 2, "Invalid pooling size.");
    if (std::min(k[0], k[1]) == 0) raiseBadSubscript("Pooling size must be a positive integer.");
    const std::vector<uint64_t> p = convertedValues(prhs[2], 4, "Invalid padding specification.");
    const std::vector<uint64_t> s = convertedValues(prhs[3], 2, "Invalid stride specification.");
    if (std::min(s[0], s[1]) == 0) raiseBadSubscript("Stride must be a positive integer.");
    const std::vector<uint64_t> d = paddedSizes(input, 4);
    const uint64_t padded[2] = {addSizes(addSizes(d[0], p[0]), p[2]), addSizes(addSizes(d[1], p[1]), p[3])};
    if (padded[0] < k[0] || padded[1] < k[1]) raiseBadSubscript("Pooling cannot be larger than output size.");

    const PoolAxis a[2] = {poolAxis(k[0], p[0], s[0], padded[0]), poolAxis(k[1], p[1], s[1], padded[1])};
    size_t dims[4] = {a[0].out, a[1].out, d[2], d[3]};
    OwnedArray result(vxCreateUninitNumericArray(4, dims, id, vxREAL));
    const uint64_t count = a[0].out * a[1].out * d[2] * d[3];
    ComputationalThreadScope scope;
    withRealType(input, [&](auto type) {
        using T = typename decltype(type)::type;
        T* out = static_cast<T*>(result->data);
        const T* in = static_cast<const T*>(input->data);
        const T fill = mode == 0 ? std::numeric_limits<T>::lowest() : T(0);
        const uint64_t windowCells[2] = {k[0], k[1]};
        vlcommon::runRange(count > kDivideGrain, uint64_t(0), count, kDivideGrain,
                           [&](const tbb::blocked_range<uint64_t>& r) { std::fill(out + r.begin(), out + r.end(), fill); });
        if (mode == 0) poolImages<vfl_network::Maxdot<T>>(out, in, d[2] * d[3], d[0], d[1], windowCells, s.data(), a);
        else poolImages<vfl_network::Sumdot<T>>(out, in, d[2] * d[3], d[0], d[1], windowCells, s.data(), a);
        if (mode == 1) {
            uint64_t product;
            const T cells = __builtin_mul_overflow(k[0], k[1], &product) ? T(double(k[0]) * double(k[1])) : T(product);
            vlcommon::runRange(count > kDivideGrain, uint64_t(0), count, kDivideGrain,
                               [&](const tbb::blocked_range<uint64_t>& r) {
                                   for (uint64_t i = r.begin(); i < r.end(); ++i) out[i] /= cells;
                               });
        }
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
