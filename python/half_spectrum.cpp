// The real-to-complex transform kept to its non-negative frequencies, for the Python faces that
// return half spectra: a built-in of the extension, run by the host like the library's own.
#include "python/half_spectrum.hpp"

#include <cmath>
#include <complex>
#include <stdexcept>
#include <vector>

#include "fftlib/half_spectrum.hpp"
#include "module/checked_size.hpp"

namespace vlpy {

namespace {

// A whole number at least `low`, from a real numeric scalar.
size_t wholeArgument(const vxArray* a, double low, const char* what) {
    using namespace matrix::detail::noninlined::vx_array_api;
    const bool scalar = vxIsNumericFlags(a) && !vxIsComplexFlags(a) && !vxIsSparseFlags(a) && vxIsScalar(a);
    const double v = scalar ? vxGetScalar(a) : 0.0;
    if (!scalar || !(v >= low) || v != std::floor(v) || v > 9.0e15)
        throw std::invalid_argument(std::string("half spectrum: ") + what + " must be a whole number of at least " +
                                    std::to_string(int(low)));
    return size_t(v);
}

template <class T>
void transform(const vxArray* x, vxArray* out, size_t stride, size_t n, size_t len, size_t howMany) {
    try {
        vfl_fft::halfSpectrum<T>(static_cast<const T*>(x->data), static_cast<std::complex<T>*>(out->data), stride, n,
                                 len, howMany);
    } catch (const std::runtime_error& e) {
        if (std::string(e.what()) == "FFTW:nomem") vlmathdsp::sizeOverflow();
        throw;
    }
}

}  // namespace

void halfSpectrum(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) {
    using namespace vlmathdsp;
    using namespace matrix::detail::noninlined::vx_array_api;
    if (nlhs > 1 || nrhs != 3) throw std::invalid_argument("half spectrum: (x, n, dim) in, one result out");
    const vxArray* x = prhs[0];
    const bool real = (x->classID == VX_DOUBLE_CLASS || x->classID == VX_SINGLE_CLASS) && !vxIsComplexFlags(x) &&
                      !vxIsSparseFlags(x);
    if (!real) throw std::invalid_argument("half spectrum: x must be a full real double or single array");
    const size_t n = wholeArgument(prhs[1], 1, "n"), dim = wholeArgument(prhs[2], 1, "dim") - 1;
    const size_t nd = x->numDims;
    std::vector<size_t> dims(x->get_dimensions(), x->get_dimensions() + nd);
    if (dim >= nd) dims.resize(dim + 1, 1);
    const size_t len = dims[dim];
    dims[dim] = n / 2 + 1;
    size_t stride = 1, outer = 1;
    for (size_t i = 0; i < dims.size(); ++i) {
        if (i < dim) stride = mulSizes(stride, dims[i]);
        if (i > dim) outer = mulSizes(outer, dims[i]);
    }
    mulSizes(mulSizes(mulSizes(stride, outer), n), 2 * sizeof(double));  // the transform's staged copy
    // The transform writes every element; only a transform of nothing leaves zeros.
    const bool nothing = len == 0 || stride * outer == 0;
    vxArray* out = nothing ? vxCreateNumericArray(dims.size(), dims.data(), vxClassID(x->classID), vxCOMPLEX)
                           : vxCreateUninitNumericArray(dims.size(), dims.data(), vxClassID(x->classID), vxCOMPLEX);
    plhs[0] = out;
    if (nothing) return;
    if (x->classID == VX_DOUBLE_CLASS) transform<double>(x, out, stride, n, len, stride * outer);
    else transform<float>(x, out, stride, n, len, stride * outer);
}

}  // namespace vlpy
