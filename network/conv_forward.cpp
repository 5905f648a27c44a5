// convolutionForward(input, filters[, padding[, stride]]): the forward pass of a convolution
// layer, the correlation of images (H, W, C, N) with filters (kH, kW, C, F) summed over the
// channels, zero-padded per side and sampled by the strides, into (oH, oW, F, N).
#include "conv/batch_correlation.hpp"
#include "module/argument_helpers.hpp"
#include "module/entries.hpp"
#include "module/exception.hpp"
#include "network/arguments.hpp"

namespace vlmathdsp {

using namespace vfl_network;
using namespace matrix::detail::noninlined::vx_array_api;

void convForwardEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) {
    checkArgumentCounts(nlhs, 1, nrhs, 2, 4);
    const vxArray *input = prhs[0], *filters = prhs[1];
    checkArrayPair(input, filters);
    std::vector<uint64_t> pad(4, 0), stride{1, 1};
    if (nrhs > 2) pad = countedValues(prhs[2], 4, "Invalid padding specification.");
    const std::vector<uint64_t> image = paddedSizes(input, 4), bank = paddedSizes(filters, 4);
    const uint64_t H = image[0], W = image[1], C = image[2], N = image[3], kH = bank[0], kW = bank[1], F = bank[3];
    if (bank[2] != C) raiseBadSubscript("Array inputs must share the same number of channels.");
    if (pad[0] > kH - 1 || pad[1] > kW - 1) raiseBadSubscript("Padding exceeds array bounds.");
    if (nrhs > 3) stride = readStride(prhs[3]);

    // The box of the full correlation that the padding leaves, in full-result positions.
    vfl_conv::BatchBox box{H, W, C, N, kH, kW, F, {kH - pad[0] - 1, kW - pad[1] - 1}, {H + pad[2], W + pad[3]},
                           {stride[0], stride[1]}, {0, 0}};
    for (size_t d = 0; d < 2; ++d) {
        const uint64_t lo = box.lo[d], hi = box.hi[d];
        // Unsigned as it stands: with a stride above 1, an empty extent gives a huge size.
        if (hi >= lo) box.size[d] = box.stride[d] == 1 ? hi - lo : (hi - lo - 1) / box.stride[d] + 1;
    }
    size_t dims[4] = {box.size[0], box.size[1], F, N};
    if (!box.size[0] || !box.size[1] || !F || !N) {
        plhs[0] = vxCreateNumericArray(4, dims, classOf(input), vxREAL);
        return;
    }
    if (!vfl_conv::batchFitsBlas(box)) raiseBadSubscript("Array dimensions exceed the sizes of a matrix product.");
    static const vfl_conv::BatchLayout layout{{1, 2, 3, 4}, {1, 2, 3, 4}, false};
    plhs[0] = vfl_conv::correlateBatch(input, filters, layout, box);
}

}  // namespace vlmathdsp
