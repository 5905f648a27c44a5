// fft and ifft: one dimension, with the choice of a real-to-complex, complex-to-real or complex
// transform from the data, and the symmetry test of the inverse.
#include <cmath>
#include <complex>

#include "fourier/fft_common.hpp"
#include "fourier/resize.hpp"
#include "module/entries.hpp"

namespace vlmathdsp {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;
using vfl_fft::runPass;

// Whether every sequence along the dimension is conjugate symmetric over n (real: symmetric).
template <class T, bool Complex>
bool symmetricSequences(const T* data, size_t stride, size_t len, size_t n, size_t outer) {
    if (n == 0) return true;
    const size_t width = Complex ? 2 : 1;
    auto re = [&](const T* v, size_t k) { return v[width * stride * k]; };
    auto im = [&](const T* v, size_t k) { return Complex ? v[width * stride * k + 1] : T(0); };
    auto mirrors = [&](const T* v, size_t k) {
        return re(v, k) == re(v, n - k) && (!Complex || im(v, k) == -im(v, n - k));
    };
    for (size_t o = 0; o < outer; ++o)
        for (size_t s = 0; s < stride; ++s) {
            const T* v = data + width * (s + stride * len * o);
            if (!(re(v, 0) == re(v, 0)) || !(im(v, 0) == -im(v, 0))) return false;
            if (n < len) {
                for (size_t k = 1; k < n / 2 + 1; ++k)
                    if (!mirrors(v, k)) return false;
            } else {
                for (size_t k = 1; k < len && k <= n - len; ++k)
                    if (re(v, k) != T(0) || im(v, k) != T(0)) return false;
                for (size_t k = n - len + 1; k < len && k < n / 2 + 1; ++k)
                    if (!mirrors(v, k)) return false;
            }
        }
    return true;
}

bool symmetricAlong(const vxArray* x, size_t stride, size_t len, size_t n) {
    const size_t outer = len == 0 ? 0 : x->get_number_of_elements() / (stride * len);
    return withElementType(x, [&](auto type) {
        using E = typename decltype(type)::type;
        using T = vlcommon::Real<E>;
        return symmetricSequences<T, vlcommon::IsComplex<E>::value>(static_cast<const T*>(x->data), stride, len, n, outer);
    });
}

void fftBody(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs, int sign) {
    const bool inverse = sign > 0;
    checkArgumentCounts(nlhs, 1, nrhs, 1, inverse ? 4 : 3);
    const bool symmetricOption =
        inverse && vfl_fft::takeTrailingOption<VELTRA::fftfcn::InvalidFourthArgument>(nrhs, prhs, 4);
    OwnedArray xWork = vfl_fft::workingInput<VELTRA::fftfcn::InvalidInputType, VELTRA::fftfcn::SparseInputType>(prhs[0]);
    const size_t nd = xWork->numDims;
    const size_t* dims = xWork->get_dimensions();
    const size_t dim0 = nrhs == 3 ? mathcoreGetDimArg(prhs[2]) : mathcoreFindFirstNonSingleton(nd, dims);
    size_t len = dim0 < nd ? dims[dim0] : 1;
    size_t n = len;
    if (nrhs >= 2 && !vxIsEmpty(prhs[1])) {
        bool irregular;
        n = vfl_fft::readLength<VELTRA::fftfcn::lengthNotNonNegInt>(prhs[1], irregular);
        if (irregular) warn<VELTRA::fftfcn::lengthNotNonNegInt>();
    }
    size_t stride = 1;
    for (size_t i = 0; i < std::min(dim0, nd); ++i) stride *= dims[i];

    if (len == 1 && n == 1 && !symmetricOption) {
        plhs[0] = vxCreateSharedDataCopy(xWork.get());
        return;
    }
    const bool complexX = vxIsComplexFlags(xWork.get());
    using namespace vfl_fft;
    FftKind kind;
    if (!inverse) kind = complexX ? kComplexToComplex : kRealToComplex;
    else if (vxIsEmpty(xWork.get())) kind = kComplexToComplex;
    else if (symmetricOption || symmetricAlong(xWork.get(), stride, len, n)) kind = kComplexToReal;
    else kind = kComplexToComplex;

    const vxClassID id = classOf(xWork.get());
    OwnedArray output, source;
    const vxArray* from = xWork.get();
    if (len != n) {
        const std::vector<size_t> outDims = vfl_fft::dimsWithLength(xWork.get(), dim0, n);
        if (inverse && !complexX) {
            OwnedArray resized(vfl_fft::resizeArray(xWork.get(), outDims, std::min(dim0 + 1, nd),
                                                    std::min(len, n) * stride, true, false));
            len = n;
            if (kind == kComplexToComplex) {
                output = std::move(resized);
                from = output.get();
            } else {
                source = std::move(resized);
                from = source.get();
                output = OwnedArray(vxCreateNumericArray(outDims.size(), outDims.data(), id, vxREAL));
            }
        } else {
            output = OwnedArray(vxCreateNumericArray(outDims.size(), outDims.data(), id, kind == kComplexToReal ? vxREAL : vxCOMPLEX));
        }
    } else if (inverse && !vxIsEmpty(xWork.get()) && (kind == kComplexToReal || !complexX)) {
        std::vector<size_t> d(dims, dims + nd);
        if (kind == kComplexToReal && complexX) {
            output = OwnedArray(vxCreateUninitNumericArray(nd, d.data(), id, vxREAL));
        } else if (kind == kComplexToReal) {
            vxArray* real = xWork.get();
            source = OwnedArray(vxMustBeComplex(1, &real));
            from = source.get();
            output = xWork.owns() ? std::move(xWork) : OwnedArray(vxCreateUninitNumericArray(nd, d.data(), id, vxREAL));
        } else {
            vxArray* real = xWork.get();
            output = OwnedArray(vxMustBeComplex(1, &real));
            from = output.get();
        }
    } else {
        std::vector<size_t> d(dims, dims + nd);
        output = OwnedArray(vxCreateUninitNumericArray(nd, d.data(), id, vxCOMPLEX));
    }
    if (!vxIsEmpty(from) && !vxIsEmpty(output.get()) && n > 0)
        runPass(kind, from, output.get(), stride, n, len, output->get_number_of_elements() / n, sign);
    plhs[0] = output.release();
    vxFreeImagIfZero(plhs[0]);
}

}  // namespace

void fftForwardEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) { fftBody(nlhs, plhs, nrhs, prhs, -1); }
void fftInverseEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) { fftBody(nlhs, plhs, nrhs, prhs, +1); }

}  // namespace vlmathdsp
