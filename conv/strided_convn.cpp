// stridedConvn(A, B[, stride[, startIndex[, endIndex]]][, option]): argument forms and their
// checks, the sampled box, the choice between the sampled and the unsampled drivers, and
// correlation as convolution with B reversed along its first three dimensions.
#include <cmath>
#include <cstring>
#include <vector>

#include "conv/convn_driver.hpp"
#include "conv/cores.hpp"
#include "conv/conv5d.hpp"
#include "conv/kernels/strided_walk.hpp"
#include "conv/strided_driver.hpp"
#include "module/argument_helpers.hpp"
#include "module/entries.hpp"
#include "module/owned_array.hpp"

namespace vlmathdsp {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;
using vfl_conv::Sizes;

// Density below which an operand's zeros are worth skipping (single precision, as compared).
constexpr float kSparseDensity = 0.4f;
// Correlation reverses B along this many leading dimensions; above them it stays a convolution.
constexpr size_t kReversedDims = 3;
// The option words match from this many letters on.
constexpr size_t kOptionLeast = 3;

OwnedArray operand(const vxArray* a) {
    if (a->flags & VX_FLAG_SPARSE) raise<VELTRA::stridedConvn::SparseInput>();
    const vxClassID id = classOf(a);
    if (id == VX_SINGLE_CLASS || id == VX_DOUBLE_CLASS) return OwnedArray(vxCreateSharedDataCopy(a));
    if (!vxIsNumericFlags(a) && id != VX_LOGICAL_CLASS) raise<VELTRA::stridedConvn::InputClass>();
    return OwnedArray(vxMustBe(a, VX_DOUBLE_CLASS));
}

// The first min(count, limit) values of a numeric argument, each a whole number of at least 1.
template <class BadValue>
std::vector<uint64_t> wholeValues(const vxArray* a, size_t limit) {
    if (a->flags & VX_FLAG_SPARSE) raise<VELTRA::stridedConvn::SparseInput>();
    const vxClassID id = classOf(a);
    OwnedArray values = id == VX_SINGLE_CLASS || id == VX_DOUBLE_CLASS
                            ? OwnedArray(const_cast<vxArray*>(a), false)
                            : OwnedArray::converted(vxMustBe(a, VX_DOUBLE_CLASS), a);
    if (vxIsComplexFlags(values.get())) raise<BadValue>();
    const size_t count = std::min(values->get_number_of_elements(), limit);
    std::vector<uint64_t> out(count);
    withRealType(values.get(), [&](auto type) {
        using T = typename decltype(type)::type;
        const T* v = static_cast<const T*>(values->data);
        for (size_t i = 0; i < count; ++i) {
            const double x = double(v[i]);
            if (!std::isfinite(x) || x < 1 || x != std::floor(x) || x >= 18446744073709551616.0) raise<BadValue>();
            out[i] = uint64_t(x);
        }
    });
    return out;
}

// A text in an optional position: allowed only as the last of exactly `onlyAt` arguments.
template <class BadClass>
bool optionInPlace(const vxArray* a, int nrhs, int onlyAt) {
    if (vxIsNumericFlags(a)) return false;
    if (nrhs == onlyAt && Veltrix::String::isScalarText(a, true, true)) return true;
    raise<BadClass>();
}

bool isCorrelation(TextView text) {
    const bool length = text.length >= kOptionLeast;
    if (length && matchesOption(text, keywordView(u"corr")) && text.length <= 4) return true;
    if (length && matchesOption(text, keywordView(u"conv")) && text.length <= 4) return false;
    raise<VELTRA::stridedConvn::InvalidOptionString>();
}

// B reversed along its first kReversedDims dimensions.
vxArray* reversed(const vxArray* B) {
    const size_t nd = B->numDims;
    std::vector<size_t> dims(B->get_dimensions(), B->get_dimensions() + nd);
    vxArray* R = vxCreateUninitNumericArray(nd, dims.data(), classOf(B), vxIsComplexFlags(B) ? vxCOMPLEX : vxREAL);
    const size_t elem = vxGetElementSize(B), total = B->get_number_of_elements();
    const char* src = static_cast<const char*>(B->data);
    char* dst = static_cast<char*>(R->data);
    std::vector<size_t> index(nd, 0);
    for (size_t e = 0; e < total; ++e) {
        size_t target = 0, step = 1;
        for (size_t d = 0; d < nd; ++d) {
            target += (d < kReversedDims ? dims[d] - 1 - index[d] : index[d]) * step;
            step *= dims[d];
        }
        std::memcpy(dst + target * elem, src + e * elem, elem);
        for (size_t d = 0; d < nd && ++index[d] == dims[d]; ++d) index[d] = 0;
    }
    return R;
}

}  // namespace

vxArray* stridedConvnCore(const vxArray* A, const vxArray* B, Sizes stride, const Sizes& rangeLo, Sizes rangeHi,
                          bool isCorr, const vfl_conv::PartCall* part) {
    const size_t n = stride.size();
    Sizes sizeA = paddedSizes(A, n), sizeB = paddedSizes(B, n), outSize(n);
    // A part: its whole's sizes and box choose; its own box is computed.
    Sizes wholeA = part ? part->wholeSize : sizeA, wholeLo = part ? part->wholeLo : rangeLo;
    Sizes wholeHi = part ? part->wholeHi : rangeHi;
    bool allUnit = true;
    for (size_t d = 0; d < n; ++d) {
        outSize[d] = vfl_conv::sampleCount(rangeLo[d], rangeHi[d], stride[d]);
        if (vfl_conv::sampleCount(wholeLo[d], wholeHi[d], stride[d]) == 1) {  // one sample: any stride takes it
            outSize[d] = std::min<uint64_t>(outSize[d], 1);
            stride[d] = 1, wholeHi[d] = wholeLo[d] + 1, rangeHi[d] = rangeLo[d] + outSize[d];
        }
        allUnit = allUnit && stride[d] == 1;
    }
    if (vfl_conv::nothingToCompute(A, B, outSize)) return vfl_conv::convolutionResult(A, B, outSize);
    const float densityA = part ? part->density : nonZeroDensity(A), densityB = nonZeroDensity(B);
    bool sparse = false, secondIsB = false;
    if (densityB > densityA && densityA < kSparseDensity) sparse = allFinite(B);
    else if (densityA >= densityB && densityB < kSparseDensity) sparse = part ? part->finite : allFinite(A), secondIsB = true;
    // Image batches against filter banks: matrix products, or runs per non-zero of the sparse one.
    if (vfl_conv::gemmEligible(A, B, wholeA, sizeB, wholeLo, wholeHi, stride, isCorr) &&
        (!part || vfl_conv::gemmEligible(A, B, sizeA, sizeB, rangeLo, rangeHi, stride, isCorr))) {
        if (!sparse && allUnit) return vfl_conv::gemmConv5D(A, sizeA, B, sizeB, rangeLo, rangeHi);
        if (!sparse) return vfl_conv::gemmConv5DStrided(A, sizeA, B, sizeB, rangeLo, rangeHi, stride);
        if (allUnit) return vfl_conv::axpyConv5D(A, sizeA, B, sizeB, rangeLo, rangeHi, secondIsB);
    }
    OwnedArray Y(vfl_conv::convolutionResult(A, B, outSize));
    OwnedArray flipped = isCorr ? OwnedArray(reversed(B)) : OwnedArray(const_cast<vxArray*>(B), false);
    B = flipped.get();

    if (!sparse) {
        const vxClassID ca = classOf(A), cb = classOf(B);
        secondIsB = ca != cb ? cb == VX_DOUBLE_CLASS : sizeB[0] < wholeA[0];
    }
    const vxArray* first = secondIsB ? A : B;
    const vxArray* second = secondIsB ? B : A;
    if (!secondIsB) std::swap(sizeA, sizeB);
    const bool firstFinite = sparse || (secondIsB && part ? part->finite : allFinite(first));
    const vfl_conv::OrderSource source{wholeLo, wholeHi, secondIsB ? wholeA : sizeA};
    const vfl_conv::OrderSource* chooser = part ? &source : nullptr;
    if (allUnit)
        vfl_conv::convNDDriver(Y.get(), rangeLo, rangeHi, first, sizeA, second, sizeB, firstFinite, sparse, chooser);
    else
        vfl_conv::stridedNDDriver(Y.get(), rangeLo, rangeHi, first, sizeA, second, sizeB, stride, firstFinite, sparse,
                                  chooser);
    vxFreeImagIfZero(Y.get());
    return Y.release();
}

void stridedConvnEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) {
    checkArgumentCounts(nlhs, 1, nrhs, 2, 6);
    OwnedArray A = operand(prhs[0]), B = operand(prhs[1]);
    const size_t n = std::max(A->numDims, B->numDims);
    const Sizes sizeA = paddedSizes(A.get(), n), sizeB = paddedSizes(B.get(), n);
    Sizes stride(n, 1), rangeLo(n, 0), rangeHi(n);
    if (nrhs > 2 && !optionInPlace<VELTRA::stridedConvn::StrideClass>(prhs[2], nrhs, 3)) {
        const std::vector<uint64_t> v = wholeValues<VELTRA::stridedConvn::InvalidStride>(prhs[2], n);
        if (v.size() == 1) std::fill(stride.begin(), stride.end(), v[0]);
        else std::copy(v.begin(), v.end(), stride.begin());
    }
    if (nrhs > 3 && !optionInPlace<VELTRA::stridedConvn::RangeIndexClass>(prhs[3], nrhs, 4)) {
        const std::vector<uint64_t> v = wholeValues<VELTRA::stridedConvn::InvalidRangeIndex>(prhs[3], n);
        for (size_t d = 0; d < v.size(); ++d) {
            const uint64_t m = sizeA[d] + sizeB[d] < 2 ? 0 : sizeA[d] + sizeB[d] - 2;
            rangeLo[d] = std::min(v[d] - 1, m);
        }
    }
    size_t ended = 0;
    if (nrhs > 4 && !optionInPlace<VELTRA::stridedConvn::RangeIndexClass>(prhs[4], nrhs, 5)) {
        const std::vector<uint64_t> v = wholeValues<VELTRA::stridedConvn::InvalidRangeIndex>(prhs[4], n);
        for (size_t d = 0; d < v.size(); ++d) {
            const uint64_t m = std::max<uint64_t>(sizeA[d] + sizeB[d], 1) - 1;
            uint64_t hi = std::min(v[d], m);
            const uint64_t lo = rangeLo[d], s = stride[d];
            if (lo < hi && s != 1) {  // back to one past the last sample taken
                const uint64_t r = (hi - lo) % s;
                if (r == 0) hi = std::max(s - 1, hi) - s + 1;
                else if (r > 1) hi = std::max(r - 1, hi) - r + 1;
            }
            rangeHi[d] = hi;
        }
        ended = v.size();
    }
    for (size_t d = ended; d < n; ++d) rangeHi[d] = sizeA[d] == 0 || sizeB[d] == 0 ? 0 : sizeA[d] + sizeB[d] - 1;
    bool isCorr = false;
    if (nrhs == 6) {
        isCorr = isCorrelation(readOptionText<VELTRA::stridedConvn::InvalidOptionString>(prhs[5], true));
    } else if (nrhs > 2 && Veltrix::String::isScalarText(prhs[nrhs - 1], true, true)) {
        isCorr = isCorrelation(readOptionText<VELTRA::string::MustBeStringScalarOrCharacterVector>(prhs[nrhs - 1], true));
    }
    plhs[0] = stridedConvnCore(A.get(), B.get(), stride, rangeLo, rangeHi, isCorr);
}

}  // namespace vlmathdsp
