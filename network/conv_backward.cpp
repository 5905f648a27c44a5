// convolutionBackward(first, second, padding, stride, filterSize[, expansion]): the gradients of
// convolutionForward. With expansion (the default): the filter gradient (kH, kW, C, F) from the
// images and the result's gradient. Without: the image gradient (H, W, C, N) from the result's
// gradient and the filters. The operand that met the strides is read with stride - 1 zeros
// between its elements.
#include "fourier/resize.hpp"
#include "module/argument_helpers.hpp"
#include "module/checked_size.hpp"
#include "module/entries.hpp"
#include "module/exception.hpp"
#include "module/owned_array.hpp"
#include "network/arguments.hpp"
#include "network/gradient.hpp"

namespace vlmathdsp {

using namespace vfl_network;
using namespace matrix::detail::noninlined::vx_array_api;

namespace {

// (length - 1) stride + 1.
uint64_t expandedLength(uint64_t length, uint64_t stride) { return addSizes(mulSizes(length - 1, stride), 1); }

}  // namespace

void convBackwardEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) {
    checkArgumentCounts(nlhs, 1, nrhs, 5, 6);
    const vxArray *first = prhs[0], *second = prhs[1];
    checkArrayPair(first, second);
    const std::vector<uint64_t> pad = countedValues(prhs[2], 4, "Invalid padding specification.");
    const std::vector<uint64_t> stride = readStride(prhs[3]);
    const std::vector<uint64_t> z = countedValues(prhs[4], 2, "Invalid filter size specification.");
    const bool expansion = nrhs > 5 ? truthValue(prhs[5], "Invalid expansion specification.") : true;
    const std::vector<uint64_t> fd = paddedSizes(first, 4), sd = paddedSizes(second, 4);
    if (expansion ? fd[3] != sd[3] : fd[2] != sd[3])
        raiseBadSubscript("Array inputs must share the same number of channels.");
    uint64_t A[2], B[2];  // spatial lengths, expanded where the strides apply
    for (size_t d = 0; d < 2; ++d) {
        A[d] = expansion ? fd[d] : expandedLength(fd[d], stride[d]);
        B[d] = expansion ? expandedLength(sd[d], stride[d]) : sd[d];
    }
    if (expansion && (pad[0] > B[0] - 1 || pad[1] > B[1] - 1)) raiseBadSubscript("Padding exceeds array bounds.");

    vfl_network::GradientBox box{expansion, {fd[0], fd[1], fd[2], fd[3]}, {sd[0], sd[1], sd[2], sd[3]},
                                 {stride[0], stride[1]}, {}, {}};
    size_t out[2];
    for (size_t d = 0; d < 2; ++d) {
        // Padding sums in unsigned 64-bit arithmetic, as they stand.
        if (expansion) {
            box.start[d] = B[d] - pad[d] - 1;
            box.end[d] = std::min(A[d] + pad[d + 2], box.start[d] + z[d]);
            out[d] = z[d];
        } else {
            const uint64_t full = addSizes(A[d], B[d]) - 1;
            box.start[d] = pad[d];
            box.end[d] = full;
            out[d] = std::max(full - std::min(pad[d] + pad[d + 2], full), z[d]);
        }
    }
    const uint64_t Q = sd[2], R = expansion ? fd[2] : fd[3];
    if (box.start[0] >= box.end[0] || box.start[1] >= box.end[1]) {
        size_t dims[4] = {out[0], out[1], Q, R};
        plhs[0] = vxCreateNumericArray(4, dims, classOf(first), vxREAL);
        return;
    }
    // The image gradient keeps its leading out[d] rows and columns: the rest is never computed.
    if (!expansion)
        for (size_t d = 0; d < 2; ++d) box.end[d] = box.start[d] + std::min(box.end[d] - box.start[d], uint64_t(out[d]));
    if (!vfl_network::gradientFitsBlas(box)) raiseBadSubscript("Array dimensions exceed the sizes of a matrix product.");
    OwnedArray V(vfl_network::convolutionGradient(first, second, box));
    if (expansion || (box.end[0] - box.start[0] == out[0] && box.end[1] - box.start[1] == out[1])) {
        plhs[0] = V.release();
        return;
    }
    // A filter size beyond the computed extent: zeros after it.
    plhs[0] = vfl_fft::resizeArray(V.get(), {out[0], out[1], Q, R}, 1, box.end[0] - box.start[0], false,
                                   false);
}

}  // namespace vlmathdsp
