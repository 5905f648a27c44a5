// Strided image-batch correlation as a sum of unit-stride ones: along a dimension of stride s,
// the filter taps s a + r (one phase r) meet only the image positions s u + r + offset, so each
// pair of phases is an ordinary correlation of a compact copy of those image positions with the
// filter's taps of that phase, and its runs of outputs merge into one product as at unit
// strides. The phases add into each output one after the other, in a fixed order.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "common/parallel_range.hpp"
#include "conv/batch_correlation.hpp"
#include "conv/kernels/gemm_ops.hpp"
#include "conv/parallel/wrappers_nd.hpp"

namespace vfl_conv {

// One dimension of one phase: the image positions s (uLo + v) + r + offset for v below `length`,
// the filter taps s a + r for a below `taps`, and the outputs [first, first + (hi - lo)) that
// meet them, at full positions [lo, hi) of the phase's own correlation.
struct PhaseAxis {
    int64_t uLo, length, taps, firstOutput;
    uint64_t lo, hi;

    // False when the phase adds nothing along this dimension.
    bool plan(int64_t image, int64_t filter, int64_t stride, int64_t phase, int64_t offset, int64_t outputs) {
        const auto ceilDiv = [](int64_t a, int64_t b) { return a >= 0 ? (a + b - 1) / b : -(-a / b); };
        taps = filter > phase ? ceilDiv(filter - phase, stride) : 0;
        uLo = std::max<int64_t>(0, ceilDiv(-(phase + offset), stride));
        length = std::max<int64_t>(ceilDiv(image - phase - offset, stride) - uLo, 0);
        if (!taps || !length) return false;
        // Output o is position o + taps - 1 - uLo; below 0 nothing overlaps.
        const int64_t origin = taps - 1 - uLo;
        firstOutput = std::max<int64_t>(0, -origin);
        const int64_t end = std::min(origin + outputs, length + taps - 1);
        if (origin + firstOutput >= end) return false;
        lo = uint64_t(origin + firstOutput), hi = uint64_t(end);
        return true;
    }
};

// X (C N, H, W) and K (C F, kH, kW), both at their element 0; out (F N, oH, oW) zeroed, with
// `count` samples per dimension; `phase` a scratch buffer of C N H W elements.
template <class T>
void correlatePhases(T* out, const T* x, const T* k, T* phase, const BatchBox& box, const Sizes& count) {
    const int64_t C = int64_t(box.C), N = int64_t(box.N), F = int64_t(box.F), H = int64_t(box.H);
    const int64_t kH = int64_t(box.kH), oH = int64_t(box.size[0]), CN = C * N, FN = F * N;
    const int64_t extent[2] = {H, int64_t(box.W)}, taps[2] = {kH, int64_t(box.kW)};
    const ColumnGemmFunctor<T> op{{C, N, F, F, C, C, 'T', 'N'}};
    for (int64_t r1 = 0; r1 < int64_t(box.stride[1]); ++r1) {
        for (int64_t r0 = 0; r0 < int64_t(box.stride[0]); ++r0) {
            PhaseAxis a[2];
            bool any = true;
            for (int d = 0; d < 2; ++d) {
                const int64_t s = int64_t(box.stride[d]), offset = int64_t(box.lo[d]) - (taps[d] - 1);
                any = any && a[d].plan(extent[d], taps[d], s, d ? r1 : r0, offset, int64_t(count[d]));
            }
            if (!any) continue;
            // The phase's image positions, one block of C N per position.
            const int64_t s0 = int64_t(box.stride[0]), s1 = int64_t(box.stride[1]);
            const int64_t off0 = int64_t(box.lo[0]) - (kH - 1) + r0, off1 = int64_t(box.lo[1]) - (taps[1] - 1) + r1;
            vlcommon::forEachIndex(a[1].length > 1, int64_t(0), a[1].length, int64_t(1), [&](int64_t v1) {
                const T* column = x + CN * H * (s1 * (a[1].uLo + v1) + off1);
                for (int64_t v0 = 0; v0 < a[0].length; ++v0)
                    std::memcpy(phase + CN * (v0 + a[0].length * v1), column + CN * (s0 * (a[0].uLo + v0) + off0),
                                size_t(CN) * sizeof(T));
            });
            const Sizes lo{a[0].lo, a[1].lo}, hi{a[0].hi, a[1].hi};
            const Sizes imageSize{uint64_t(a[0].length), uint64_t(a[1].length)};
            const Sizes filterSize{uint64_t(a[0].taps), uint64_t(a[1].taps)};
            const Strides outStride{FN, FN * oH}, imageStride{CN, CN * a[0].length};
            const Strides filterStride{-C * F * s0, -C * F * kH * s1};  // correlation: the taps backwards
            const ConvGeometry g{lo, hi, imageSize, filterSize, outStride, imageStride, filterStride};
            parallel::runWalk<parallel::NDWalk::Plans>(op, out + FN * (a[0].firstOutput + oH * a[1].firstOutput),
                                                       static_cast<const T*>(phase), k + C * F * (r0 + kH * r1), g,
                                                       ConvFlags{0, 0}, {1}, {1}, lo, hi);
        }
    }
}

}  // namespace vfl_conv
