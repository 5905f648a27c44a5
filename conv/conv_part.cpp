// convPart: a window of conv2, convnc or stridedConvn of a part of a larger first operand, with
// the whole's sizes and facts given, for callers that cut one operand into parts.
//   convPart("conv2" | "convnc", A, B, shape, wholeSize, nonZeros, finite, lo, hi)
//   convPart("strided", A, B, stride, wholeSize, nonZeros, finite, lo, hi, wholeLo, wholeHi, isCorr)
// Indices are zero-based; [lo, hi) is the window of the part's own full result, [wholeLo, wholeHi)
// the whole call's box. The arguments are checked only for what would break memory.
#include <string>

#include "conv/cores.hpp"
#include "module/checked_size.hpp"
#include "module/entries.hpp"
#include "module/exception.hpp"

namespace vlmathdsp {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;
using vfl_conv::Sizes;

[[noreturn]] void bad(const char* what) { raise<VELTRA::convPart::InvalidArgument>(what); }

const vxArray* floating(const vxArray* a) {
    const vxClassID id = classOf(a);
    if ((id != VX_SINGLE_CLASS && id != VX_DOUBLE_CLASS) || (a->flags & VX_FLAG_SPARSE))
        bad("operands are full single or double arrays");
    return a;
}

double scalar(const vxArray* a, const char* what) {
    if (classOf(a) != VX_DOUBLE_CLASS || vxIsComplexFlags(a) || a->get_number_of_elements() != 1) bad(what);
    return vxGetScalar(a);
}

// The whole numbers of a double vector of at least n elements; those past n (the dimensions past
// both operands') must equal `beyond` unless it is kAny, and are dropped.
constexpr uint64_t kAny = ~uint64_t(0);

Sizes wholeNumbers(const vxArray* a, size_t n, uint64_t beyond, const char* what) {
    if (classOf(a) != VX_DOUBLE_CLASS || vxIsComplexFlags(a) || a->get_number_of_elements() < n) bad(what);
    const double* v = static_cast<const double*>(a->data);
    Sizes out(a->get_number_of_elements());
    for (size_t i = 0; i < out.size(); ++i) {
        if (!(v[i] >= 0) || v[i] >= 9.0e15 || v[i] != double(uint64_t(v[i]))) bad(what);
        out[i] = uint64_t(v[i]);
        if (i >= n && beyond != kAny && out[i] != beyond) bad(what);
    }
    out.resize(n);
    return out;
}

}  // namespace

void convPartEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) {
    if (nlhs > 1 || nrhs < 1 || !Veltrix::String::isScalarText(prhs[0], true, true)) bad("the first argument names the call");
    const TextView name = readOptionText<VELTRA::conv2::unknownShapeParameter>(prhs[0], true);
    auto is = [&](const char16_t* word) {
        return name.length == std::char_traits<char16_t>::length(word) && matchesOption(name, keywordView(word));
    };
    const bool strided = is(u"strided"), conv2 = is(u"conv2");
    if (!strided && !conv2 && !is(u"convnc")) bad("the call is conv2, convnc or strided");
    if (nrhs != (strided ? 12 : 9)) bad("wrong number of arguments");
    const vxArray* A = floating(prhs[1]);
    const vxArray* B = floating(prhs[2]);
    const size_t n = std::max({A->numDims, B->numDims, size_t(2)});
    vfl_conv::PartCall part;
    part.wholeSize = wholeNumbers(prhs[4], n, 1, "wholeSize");
    const Sizes own = paddedSizes(A, n), kernel = paddedSizes(B, n);
    size_t count = 1;
    for (size_t d = 0; d < n; ++d) {
        if (part.wholeSize[d] < own[d] || (part.wholeSize[d] == 1) != (own[d] == 1)) bad("a part fits in its whole");
        count = mulSizes(count, part.wholeSize[d]);
    }
    const double nonZeros = scalar(prhs[5], "nonZeros");
    if (!(nonZeros >= 0) || nonZeros > double(count)) bad("nonZeros");
    part.density = static_cast<float>(size_t(nonZeros)) / static_cast<float>(count);
    part.finite = scalar(prhs[6], "finite") != 0;
    part.lo = wholeNumbers(prhs[7], n, 0, "lo"), part.hi = wholeNumbers(prhs[8], n, 1, "hi");
    for (size_t d = 0; d < n; ++d) {
        if (part.lo[d] > part.hi[d] || part.hi[d] > own[d] + kernel[d] - 1) bad("the window lies in the part's full result");
    }
    if (!strided) {
        if (conv2 && n > 2) bad("conv2 takes matrices");
        const ShapeKind shape = parseShapeOption(prhs[3]);
        plhs[0] = conv2 ? conv2Core(A, B, shape, &part) : convncCore(A, B, shape, &part);
        return;
    }
    Sizes stride = wholeNumbers(prhs[3], n, kAny, "stride");
    for (uint64_t s : stride)
        if (s == 0) bad("stride");
    part.wholeLo = wholeNumbers(prhs[9], n, 0, "wholeLo"), part.wholeHi = wholeNumbers(prhs[10], n, 1, "wholeHi");
    for (size_t d = 0; d < n; ++d)
        if (part.wholeLo[d] > part.wholeHi[d] || part.wholeHi[d] > part.wholeSize[d] + kernel[d] - 1)
            bad("the whole's box lies in its full result");
    plhs[0] = stridedConvnCore(A, B, stride, part.lo, part.hi, scalar(prhs[11], "isCorr") != 0, &part);
}

}  // namespace vlmathdsp
