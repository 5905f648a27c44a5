// Pieces the Fourier, cosine and sine built-ins share: the symmetric option, the class of x, the
// length and size arguments, running a pass.
#pragma once

#include <vector>

#include "fourier/plan_container.hpp"
#include "module/argument_helpers.hpp"
#include "module/checked_size.hpp"
#include "module/owned_array.hpp"

namespace vfl_fft {

// Reads the trailing "symmetric" / "nonsymmetric" option of an inverse.
inline bool readSymmetricOption(const vxArray* option) {
    using namespace vlmathdsp;
    const TextView text = readOptionText<VELTRA::fftfcn::InvalidTrailingStringArgument>(option, true);
    if (matchesOption(text, keywordView(u"symmetric"))) return true;
    if (matchesOption(text, keywordView(u"nonsymmetric"))) return false;
    raise<VELTRA::fftfcn::InvalidTrailingStringArgument>();
}

// An inverse's trailing option: read and dropped from the count when the last argument is a
// text; otherwise a full count of arguments raises LastNotText. Returns the symmetric flag.
template <class LastNotText>
bool takeTrailingOption(int& nrhs, const vxArray** prhs, int fullCount) {
    if (nrhs <= 1) return false;
    if (Veltrix::String::isScalarText(prhs[nrhs - 1], false, true)) return readSymmetricOption(prhs[--nrhs]);
    if (nrhs == fullCount) vlmathdsp::raise<LastNotText>();
    return false;
}

// x as single when single, else as double; refuses other classes, then sparse arrays.
template <class BadType, class Sparse>
vlmathdsp::OwnedArray workingInput(const vxArray* x) {
    using namespace vlmathdsp;
    const vxClassID id = classOf(x);
    if ((!vxIsNumericFlags(x) && id != VX_LOGICAL_CLASS) || id == VX_INT64_CLASS || id == VX_UINT64_CLASS)
        raise<BadType>();
    if (x->flags & VX_FLAG_SPARSE) raise<Sparse>();
    if (id == VX_SINGLE_CLASS) return OwnedArray(const_cast<vxArray*>(x), false);
    return OwnedArray::converted(matrix::detail::noninlined::vx_array_api::vxMustBe(x, VX_DOUBLE_CLASS), x);
}

// A transform length n: refused (Bad, thrown) when not a number or negative. `irregular` tells a
// fraction or a vector, which the caller may warn of.
template <class Bad>
size_t readLength(const vxArray* arg, bool& irregular) {
    using namespace vlmathdsp;
    using namespace matrix::detail::noninlined::vx_array_api;
    if (!(arg->flags & VX_FLAG_NUMERIC) && classOf(arg) != VX_LOGICAL_CLASS) raise<Bad>();
    const double value = vxGetScalar(arg);
    if (value < 0) raise<Bad>();
    const size_t n = vxCheckIndex(value);
    irregular = !vxIsScalar(arg) || vxIsComplexFlags(arg) || double(n) != value;
    return n;
}

// The identifiers of an output size vector's checks, by family.
template <class NotNumeric, class TooShort, class NotRow>
struct SizeKeys {
    using notNumeric = NotNumeric;
    using tooShort = TooShort;
    using notRow = NotRow;
};

// An output size vector of at least nd elements. Not numeric or too short: thrown; complex or not
// a row: a warning here. `irregular` tells that an element was no index and no warning was given.
template <class Keys>
std::vector<size_t> readSizes(const vxArray* siz, size_t nd, bool& irregular) {
    using namespace vlmathdsp;
    using namespace matrix::detail::noninlined::vx_array_api;
    if (!(siz->flags & VX_FLAG_NUMERIC) && classOf(siz) != VX_LOGICAL_CLASS) raise<typename Keys::notNumeric>();
    const size_t count = siz->get_number_of_elements();
    if (count < nd) raise<typename Keys::tooShort>();
    const bool warned = vxIsComplexFlags(siz) || siz->get_dimensions()[0] != 1;
    if (warned) warn<typename Keys::notRow>();
    OwnedArray full = OwnedArray::converted(vxMustBeFullDouble(siz), siz);
    if (vxIsComplexFlags(full.get())) {
        if (!full.owns()) full = OwnedArray(vxCreateDeepCopy(siz));
        vxDeflateComplexToReal(full.get());
    }
    const double* v = static_cast<const double*>(full->data);
    std::vector<size_t> sizes(count);
    irregular = false;
    for (size_t i = 0; i < count; ++i) {
        sizes[i] = vxCheckIndex(v[i]);
        if (double(sizes[i]) != v[i]) irregular = !warned;
    }
    return sizes;
}

// x's shape with length n along dim0, grown with singletons to reach it. dim0 is the caller's, so
// the host is asked for the longer shape's room first, and refuses with its out-of-memory error.
inline std::vector<size_t> dimsWithLength(const vxArray* x, size_t dim0, size_t n) {
    using namespace matrix::detail::noninlined::vx_array_api;
    const size_t nd = x->numDims;
    if (dim0 >= nd) vxFree(vxMalloc(vlmathdsp::mulSizes(vlmathdsp::addSizes(dim0, 1), sizeof(size_t))));
    std::vector<size_t> dims(x->get_dimensions(), x->get_dimensions() + nd);
    if (dims.size() < dim0 + 1) dims.resize(dim0 + 1, 1);
    dims[dim0] = n;
    return dims;
}

// One pass of veltraFFT1D of the kind from source to output, in the scope's cache.
void runPass(FftKind kind, const vxArray* source, vxArray* output, uint64_t stride, uint64_t n, uint64_t inLen,
             uint64_t howMany, int sign);

}  // namespace vfl_fft
