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

// What fft or ifft was asked: the working input, the dimension (zero-based) along which it is
// transformed, the input's and the transform's lengths, and the samples' stride.
struct FftRequest {
    OwnedArray x;
    size_t dim0, len, n, stride;
    bool symmetricOption;
};

FftRequest readRequest(int nlhs, int nrhs, const vxArray** prhs, bool inverse) {
    checkArgumentCounts(nlhs, 1, nrhs, 1, inverse ? 4 : 3);
    FftRequest r;
    r.symmetricOption = inverse && vfl_fft::takeTrailingOption<VELTRA::fftfcn::InvalidFourthArgument>(nrhs, prhs, 4);
    r.x = vfl_fft::workingInput<VELTRA::fftfcn::InvalidInputType, VELTRA::fftfcn::SparseInputType>(prhs[0]);
    const size_t nd = r.x->numDims;
    const size_t* dims = r.x->get_dimensions();
    r.dim0 = nrhs == 3 ? mathcoreGetDimArg(prhs[2]) : mathcoreFindFirstNonSingleton(nd, dims);
    r.len = r.dim0 < nd ? dims[r.dim0] : 1;
    r.n = r.len;
    if (nrhs >= 2 && !vxIsEmpty(prhs[1])) {
        bool irregular;
        r.n = vfl_fft::readLength<VELTRA::fftfcn::lengthNotNonNegInt>(prhs[1], irregular);
        if (irregular) warn<VELTRA::fftfcn::lengthNotNonNegInt>();
    }
    r.stride = 1;
    for (size_t i = 0; i < std::min(r.dim0, nd); ++i) r.stride *= dims[i];
    return r;
}

// Forward: real to complex or complex. Inverse: complex to real when asked or when every sequence
// is conjugate symmetric, else complex.
vfl_fft::FftKind kindOf(const FftRequest& r, bool inverse) {
    using namespace vfl_fft;
    const bool complexX = vxIsComplexFlags(r.x.get());
    if (!inverse) return complexX ? kComplexToComplex : kRealToComplex;
    if (vxIsEmpty(r.x.get())) return kComplexToComplex;
    if (r.symmetricOption || symmetricAlong(r.x.get(), r.stride, r.len, r.n)) return kComplexToReal;
    return kComplexToComplex;
}

// The result, and the array the transform reads (the result itself when it runs in place), with
// the length the transform reads along the dimension.
struct Operands {
    OwnedArray output, source;
    const vxArray* from;
    size_t len;
};

std::vector<size_t> dimsOf(const vxArray* x) {
    return std::vector<size_t>(x->get_dimensions(), x->get_dimensions() + x->numDims);
}

// A new length: the result has it. A real inverse's input is first resized (and made complex),
// into the result or into a source beside a real result.
Operands resizedOperands(FftRequest& r, vfl_fft::FftKind kind, bool inverse) {
    using namespace vfl_fft;
    const vxClassID id = classOf(r.x.get());
    const std::vector<size_t> outDims = dimsWithLength(r.x.get(), r.dim0, r.n);
    Operands o{OwnedArray(), OwnedArray(), r.x.get(), r.len};
    if (!inverse || vxIsComplexFlags(r.x.get())) {
        o.output = OwnedArray(
            vxCreateNumericArray(outDims.size(), outDims.data(), id, kind == kComplexToReal ? vxREAL : vxCOMPLEX));
        return o;
    }
    OwnedArray resized(resizeArray(r.x.get(), outDims, std::min(r.dim0 + 1, size_t(r.x->numDims)),
                                   std::min(r.len, r.n) * r.stride, true, false));
    o.len = r.n;
    if (kind == kComplexToComplex) {
        o.output = std::move(resized);
        o.from = o.output.get();
    } else {
        o.source = std::move(resized);
        o.from = o.source.get();
        o.output = OwnedArray(vxCreateNumericArray(outDims.size(), outDims.data(), id, vxREAL));
    }
    return o;
}

// The same length, an inverse of real input or to a real result: a real result beside complex
// input; a real input made complex as the source, the result in its place when it is ours; or a
// complex copy of a real input, transformed in place.
Operands inverseOperands(FftRequest& r, vfl_fft::FftKind kind) {
    const vxClassID id = classOf(r.x.get());
    std::vector<size_t> d = dimsOf(r.x.get());
    Operands o{OwnedArray(), OwnedArray(), r.x.get(), r.len};
    vxArray* real = r.x.get();
    if (kind == vfl_fft::kComplexToReal && vxIsComplexFlags(r.x.get())) {
        o.output = OwnedArray(vxCreateUninitNumericArray(d.size(), d.data(), id, vxREAL));
    } else if (kind == vfl_fft::kComplexToReal) {
        o.source = OwnedArray(vxMustBeComplex(1, &real));
        o.from = o.source.get();
        o.output = r.x.owns() ? std::move(r.x) : OwnedArray(vxCreateUninitNumericArray(d.size(), d.data(), id, vxREAL));
    } else {
        o.output = OwnedArray(vxMustBeComplex(1, &real));
        o.from = o.output.get();
    }
    return o;
}

Operands operandsFor(FftRequest& r, vfl_fft::FftKind kind, bool inverse) {
    if (r.len != r.n) return resizedOperands(r, kind, inverse);
    if (inverse && !vxIsEmpty(r.x.get()) && (kind == vfl_fft::kComplexToReal || !vxIsComplexFlags(r.x.get())))
        return inverseOperands(r, kind);
    std::vector<size_t> d = dimsOf(r.x.get());
    return {OwnedArray(vxCreateUninitNumericArray(d.size(), d.data(), classOf(r.x.get()), vxCOMPLEX)), OwnedArray(),
            r.x.get(), r.len};
}

void fftBody(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs, int sign) {
    const bool inverse = sign > 0;
    FftRequest r = readRequest(nlhs, nrhs, prhs, inverse);
    if (r.len == 1 && r.n == 1 && !r.symmetricOption) {
        plhs[0] = vxCreateSharedDataCopy(r.x.get());
        return;
    }
    const vfl_fft::FftKind kind = kindOf(r, inverse);
    Operands o = operandsFor(r, kind, inverse);
    if (!vxIsEmpty(o.from) && !vxIsEmpty(o.output.get()) && r.n > 0)
        runPass(kind, o.from, o.output.get(), r.stride, r.n, o.len, o.output->get_number_of_elements() / r.n, sign);
    plhs[0] = o.output.release();
    vxFreeImagIfZero(plhs[0]);
}

}  // namespace

void fftForwardEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) { fftBody(nlhs, plhs, nrhs, prhs, -1); }
void fftInverseEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) { fftBody(nlhs, plhs, nrhs, prhs, +1); }

}  // namespace vlmathdsp
