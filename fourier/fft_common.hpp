// Pieces the Fourier built-ins share: the symmetric option, the class of x, running a pass.
#pragma once

#include "fourier/plan_container.hpp"
#include "module/argument_helpers.hpp"
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

// x as single when single, else as double; refuses other classes and sparse arrays.
inline vlmathdsp::OwnedArray workingInput(const vxArray* x) {
    using namespace vlmathdsp;
    const vxClassID id = classOf(x);
    if ((!vxIsNumericFlags(x) && id != VX_LOGICAL_CLASS) || id == VX_INT64_CLASS || id == VX_UINT64_CLASS)
        raise<VELTRA::fftfcn::InvalidInputType>();
    if (x->flags & VX_FLAG_SPARSE) raise<VELTRA::fftfcn::SparseInputType>();
    if (id == VX_SINGLE_CLASS) return OwnedArray(const_cast<vxArray*>(x), false);
    return OwnedArray::converted(matrix::detail::noninlined::vx_array_api::vxMustBe(x, VX_DOUBLE_CLASS), x);
}

// One pass of veltraFFT1D of the kind from source to output, in the scope's cache.
void runPass(FftKind kind, const vxArray* source, vxArray* output, uint64_t stride, uint64_t n, uint64_t inLen,
             uint64_t howMany, int sign);

}  // namespace vfl_fft
