// fftn and ifftn: one-dimensional passes over each dimension of one working array, with a
// real-to-complex first pass for real input, the symmetry scan of the inverse, and the mirror
// pass that makes a forward transform of real input conjugate symmetric to the last bit.
#include <complex>
#include <vector>

#include "fourier/fft_common.hpp"
#include "fourier/resize.hpp"
#include "module/entries.hpp"

namespace vlmathdsp {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;

// Up to this many elements the scan and the mirror pass walk the whole array.
constexpr size_t kWholeWalkMax = 1024;
// Counters of up to this many dimensions live on the stack.
constexpr size_t kStackDims = 5;

// Walks i over [0, limit) with mirror the linear index of (-c) mod dims; body(i, mirror)
// returns false to stop.
template <class Body>
void walkMirrors(const std::vector<size_t>& dims, size_t N, Body body) {
    size_t limit = N;
    if (N > kWholeWalkMax) {
        size_t rem = N;
        limit = 0;
        bool stopped = false;
        for (size_t j = dims.size(); j-- > 0;) {
            const size_t m = dims[j];
            rem /= m;
            if (m == 1) continue;
            if (m % 2) {
                limit += (m / 2 + 1) * rem;
                stopped = true;
                break;
            }
            limit += (m / 2) * rem;
        }
        if (!stopped) limit += 1;
        limit = std::min(limit, N);
    }
    const size_t nd = dims.size();
    size_t stackCounters[kStackDims], stackProducts[kStackDims];
    size_t* c = stackCounters;
    size_t* prod = stackProducts;
    if (nd > kStackDims) {
        c = static_cast<size_t*>(vxCalloc(nd, sizeof(size_t)));
        prod = static_cast<size_t*>(vxMalloc(nd * sizeof(size_t)));
    } else {
        std::fill(c, c + nd, size_t(0));
    }
    for (size_t k = 0; k < nd; ++k) prod[k] = dims[k] * (k ? prod[k - 1] : 1);
    size_t mirror = 0;
    for (size_t i = 0; i < limit; ++i) {
        if (!body(i, mirror)) break;
        if (++c[0] == 1) mirror += prod[0];
        for (size_t j = 0; j + 1 < nd; ++j)
            if (c[j] == dims[j]) {
                c[j] = 0;
                if (++c[j + 1] == 1) mirror += prod[j + 1];
                mirror -= prod[j];
            }
        mirror -= 1;
    }
    if (nd > kStackDims) vxFree(c), vxFree(prod);
}

template <class T>
bool conjugateSymmetric(const vxArray* a, const std::vector<size_t>& dims) {
    const std::complex<T>* v = static_cast<const std::complex<T>*>(a->data);
    bool symmetric = true;
    walkMirrors(dims, a->get_number_of_elements(), [&](size_t i, size_t m) {
        if (v[i].real() != v[m].real() || v[i].imag() != -v[m].imag()) symmetric = false;
        return symmetric;
    });
    return symmetric;
}

template <class T>
void mirrorPass(vxArray* a, const std::vector<size_t>& dims) {
    std::complex<T>* v = static_cast<std::complex<T>*>(a->data);
    walkMirrors(dims, a->get_number_of_elements(), [&](size_t i, size_t m) {
        if (m == i) v[i].imag(T(0));
        else v[m] = std::conj(v[i]);
        return true;
    });
}

// What fftn or ifftn was asked: the working input and the result's dimensions.
struct FftnRequest {
    OwnedArray x;
    std::vector<size_t> outDims;
    bool symmetricOption;
};

FftnRequest readRequest(int nlhs, int nrhs, const vxArray** prhs, bool inverse) {
    checkArgumentCounts(nlhs, 1, nrhs, 1, inverse ? 3 : 2);
    FftnRequest r;
    r.symmetricOption = inverse && vfl_fft::takeTrailingOption<VELTRA::fftfcn::InvalidThirdArgument>(nrhs, prhs, 3);
    r.x = vfl_fft::workingInput<VELTRA::fftfcn::InvalidInputType, VELTRA::fftfcn::SparseInputType>(prhs[0]);
    const size_t nd = r.x->numDims;
    r.outDims.assign(r.x->get_dimensions(), r.x->get_dimensions() + nd);
    if (nrhs >= 2 && !vxIsEmpty(prhs[1])) {
        using Keys = vfl_fft::SizeKeys<VELTRA::fftfcn::lengthNotNonNegInt, VELTRA::fftfcn::outputSizeLessThanNdimsElements,
                                       VELTRA::fftfcn::outputSizeNotRealIntRowVector>;
        bool irregular;
        r.outDims = vfl_fft::readSizes<Keys>(prhs[1], nd, irregular);
        if (irregular) warn<VELTRA::fftfcn::outputSizeVectorNotNonNegInts>();
    }
    return r;
}

// The result before the first pass, and the array that pass reads. Sizes as the input's: a
// scalar is its own result; an inverse of real or symmetric input runs in a complex copy; else a
// new complex result. Other sizes: the input resized into the result, from its first dimension
// that changes (for a real forward transform, its first that is not 1).
OwnedArray firstOperands(FftnRequest& r, bool inverse, const vxArray*& source) {
    const vxArray* x = r.x.get();
    const size_t nd = x->numDims, nOut = r.outDims.size();
    const size_t* dims = x->get_dimensions();
    const bool complexX = vxIsComplexFlags(x);
    size_t lead = 0, p = 1;
    while (lead < std::min(nd, nOut) && dims[lead] == r.outDims[lead]) p *= dims[lead], ++lead;
    if (lead == nd && nOut == nd) {
        if (vxIsScalar(x) && !r.symmetricOption) {
            source = x;
            return OwnedArray(vxCreateSharedDataCopy(x));
        }
        if (inverse && (r.symmetricOption || !complexX)) {
            vxArray* real = r.x.get();
            OwnedArray output(complexX ? vxCreateDeepCopy(x) : vxMustBeComplex(1, &real));
            source = output.get();
            return output;
        }
        source = x;
        return OwnedArray(vxCreateUninitNumericArray(nOut, r.outDims.data(), classOf(x), vxCOMPLEX));
    }
    if (!inverse && !complexX) {
        lead = 0, p = 1;
        while (lead < std::min(nd, nOut) && dims[lead] == 1 && r.outDims[lead] == 1) ++lead;
    }
    const size_t d = lead < nOut ? std::min(r.outDims[lead], lead < nd ? dims[lead] : size_t(1)) : 1;
    OwnedArray output(vfl_fft::resizeArray(x, r.outDims, lead + 1, d * p, true, !inverse));
    source = output.get();
    return output;
}

// One pass per dimension of more than one element (or every one, when the last runs complex to
// real): the first real to complex for real forward input, the last complex to real for a
// symmetric inverse, complex to complex otherwise.
void runPasses(OwnedArray& output, const vxArray* source, std::vector<size_t>& outDims, bool symmetric,
               bool inverse, bool complexX, int sign) {
    const size_t nOut = outDims.size();
    size_t stride = 1;
    bool usedRealPass = false;
    for (size_t u = 0; u < nOut; ++u) {
        const size_t len = outDims[u];
        if (len == 1 && !symmetric) continue;
        vfl_fft::FftKind kind;
        if (u == nOut - 1 && symmetric) kind = vfl_fft::kComplexToReal;
        else if (inverse || usedRealPass || complexX) kind = vfl_fft::kComplexToComplex;
        else kind = vfl_fft::kRealToComplex, usedRealPass = true;
        const size_t N = output->get_number_of_elements();
        if (kind == vfl_fft::kComplexToReal) {
            OwnedArray target(vxCreateUninitNumericArray(nOut, outDims.data(), classOf(output.get()), vxREAL));
            vfl_fft::runPass(kind, source, target.get(), stride, len, len, N / len, sign);
            output = std::move(target);
        } else {
            const size_t inLen = kind == vfl_fft::kRealToComplex && source == output.get() ? 2 * len : len;
            vfl_fft::runPass(kind, source, output.get(), stride, len, inLen, N / len, sign);
        }
        source = output.get();
        stride *= len;
    }
}

void fftnBody(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs, int sign) {
    const bool inverse = sign > 0;
    FftnRequest r = readRequest(nlhs, nrhs, prhs, inverse);
    const bool complexX = vxIsComplexFlags(r.x.get());
    const vxArray* source = nullptr;
    OwnedArray output = firstOperands(r, inverse, source);
    bool symmetric = r.symmetricOption;
    if (!vxIsEmpty(r.x.get()) && !vxIsEmpty(output.get()) && !(vxIsScalar(output.get()) && !symmetric)) {
        if (inverse && !symmetric)
            symmetric = withRealType(source, [&](auto type) {
                return conjugateSymmetric<typename decltype(type)::type>(source, r.outDims);
            });
        runPasses(output, source, r.outDims, symmetric, inverse, complexX, sign);
        if (!inverse && !vxIsComplexFlags(prhs[0]) && vxIsComplexFlags(output.get()))
            withRealType(output.get(), [&](auto type) { mirrorPass<typename decltype(type)::type>(output.get(), r.outDims); });
    }
    plhs[0] = output.release();
    vxFreeImagIfZero(plhs[0]);
}

}  // namespace

void fftnForwardEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) { fftnBody(nlhs, plhs, nrhs, prhs, -1); }
void fftnInverseEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) { fftnBody(nlhs, plhs, nrhs, prhs, +1); }

}  // namespace vlmathdsp
