// The resize routine of the transforms.
#include "fourier/resize.hpp"

#include <cstring>

#include "module/argument_helpers.hpp"

namespace vfl_fft {

using namespace matrix::detail::noninlined::vx_array_api;

vxArray* resizeArray(const vxArray* source, const std::vector<size_t>& target, size_t firstWalked, size_t blockLength,
                     bool forceComplex, bool keepPacked) {
    const bool sourceComplex = vxIsComplexFlags(source);
    const bool complex = sourceComplex || forceComplex;
    vxArray* out = vxCreateNumericArray(target.size(), target.data(), vlmathdsp::classOf(source),
                                        complex ? vxCOMPLEX : vxREAL);
    const size_t nd = source->numDims, nt = target.size();
    const size_t* sd = source->get_dimensions();
    const size_t walkDims = std::max(nd, nt);
    std::vector<size_t> common(walkDims), sourceStride(walkDims, 1), targetStride(walkDims, 1);
    for (size_t j = 0; j < walkDims; ++j) {
        const size_t t = j < nt ? target[j] : 1;
        const size_t s = j < nd ? sd[j] : (t != 0 ? 1 : 0);
        common[j] = std::min(s, t);
        if (common[j] == 0) return out;
        if (j > 0) {
            sourceStride[j] = sourceStride[j - 1] * (j - 1 < nd ? sd[j - 1] : 1);
            targetStride[j] = targetStride[j - 1] * (j - 1 < nt ? target[j - 1] : 1);
        }
    }
    // keepPacked: offsets in reals, the first non-singleton dimension of the target doubled.
    if (keepPacked && !sourceComplex) {
        size_t first = 0;
        while (first < nt && target[first] == 1) ++first;
        for (size_t j = first + 1; j < walkDims; ++j) targetStride[j] *= 2;
    }
    const size_t elem = vxGetElementSize(source);
    const size_t real = elem / (sourceComplex ? 2 : 1);
    const char* src = static_cast<const char*>(source->data);
    char* dst = static_cast<char*>(out->data);
    std::vector<size_t> index(walkDims, 0);
    while (true) {
        size_t so = 0, to = 0;
        for (size_t j = firstWalked; j < walkDims; ++j) so += index[j] * sourceStride[j], to += index[j] * targetStride[j];
        if (sourceComplex || (!complex)) {
            std::memcpy(dst + to * elem, src + so * elem, blockLength * elem);
        } else if (keepPacked) {
            std::memcpy(dst + to * real, src + so * real, blockLength * real);
        } else {
            for (size_t i = 0; i < blockLength; ++i) std::memcpy(dst + (to + i) * 2 * real, src + (so + i) * real, real);
        }
        size_t j = firstWalked;
        for (; j < walkDims; ++j) {
            if (++index[j] < common[j]) break;
            index[j] = 0;
        }
        if (j >= walkDims) break;
    }
    return out;
}

}  // namespace vfl_fft
