// ltitr: the state trajectory of x[k+1] = A x[k] + B u[k], one row per step.
#include <algorithm>
#include <cstring>

#include "module/blas.hpp"
#include "module/entries.hpp"
#include "module/exception.hpp"
#include "module/owned_array.hpp"

namespace vlmathdsp {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;

// Above this many doubles the state update goes through daxpy.
constexpr size_t kAxpyMinimum = 16;

// Copies count elements (of one or two doubles) between strided runs.
void copyStrided(size_t count, const double* src, size_t srcStride, double* dst, size_t dstStride,
                 bool isComplex) {
    const size_t width = isComplex ? 2 : 1;
    if (srcStride == 1 && dstStride == 1) {
        std::memcpy(dst, src, count * width * sizeof(double));
        return;
    }
    const size_t s = srcStride * width, d = dstStride * width;
    size_t k = 0;
    if (isComplex) {
        for (; k + 4 <= count; k += 4) {
            dst[0] = src[0], dst[1] = src[1];
            dst[d] = src[s], dst[d + 1] = src[s + 1];
            dst[2 * d] = src[2 * s], dst[2 * d + 1] = src[2 * s + 1];
            dst[3 * d] = src[3 * s], dst[3 * d + 1] = src[3 * s + 1];
            src += 4 * s, dst += 4 * d;
        }
        for (; k < count; ++k, src += s, dst += d) dst[0] = src[0], dst[1] = src[1];
    } else {
        for (; k + 4 <= count; k += 4) {
            dst[0] = src[0];
            dst[d] = src[s];
            dst[2 * d] = src[2 * s];
            dst[3 * d] = src[3 * s];
            src += 4 * s, dst += 4 * d;
        }
        for (; k < count; ++k, src += s, dst += d) dst[0] = src[0];
    }
}

// x += t over c doubles.
void addInto(double* x, const double* t, size_t c) {
    if (c > kAxpyMinimum) {
        const int n = static_cast<int>(c), one = 1;
        const double alpha = 1.0;
        daxpy_(&n, &alpha, t, &one, x, &one);
    } else {
        for (size_t i = 0; i < c; ++i) x[i] += t[i];
    }
}

}  // namespace

void ltitrEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) {
    checkArgumentCounts(nlhs, 1, nrhs, 3, 4);

    OwnedArray args[4];
    bool isComplex = false;
    for (int i = 0; i < nrhs; ++i) {
        args[i] = OwnedArray::converted(vxMustBe(prhs[i], VX_DOUBLE_CLASS), prhs[i]);
        isComplex = isComplex || vxIsComplexFlags(args[i].get());
    }
    vxArray* A = args[0].get();
    vxArray* B = args[1].get();
    vxArray* U = args[2].get();

    const size_t n = A->get_dimensions()[0];
    if (n != vxGetN(A)) raise<VELTRA::legacy_two_part::square>();
    if (n != B->get_dimensions()[0] || vxGetN(B) != vxGetN(U)) raise<VELTRA::legacy_two_part::dimagree>();
    const size_t m = vxGetN(B);
    const size_t L = U->get_dimensions()[0];

    OwnedArray complexU;
    if (isComplex && !vxIsComplexFlags(U)) {
        complexU = OwnedArray(vxMustBeComplex(1, &U));
        U = complexU.get();
    }

    const vxComplexity complexity = isComplex ? vxCOMPLEX : vxREAL;
    OwnedArray X(vxCreateNumericMatrix(L, n, VX_DOUBLE_CLASS, complexity));
    OwnedArray u(vxCreateNumericMatrix(m, 1, VX_DOUBLE_CLASS, complexity));
    OwnedArray x;
    if (nrhs == 3) {
        x = OwnedArray(vxCreateNumericMatrix(n, 1, VX_DOUBLE_CLASS, complexity));
    } else {
        vxArray* x0 = args[3].get();
        x = OwnedArray(isComplex && !vxIsComplexFlags(x0) ? vxMustBeComplex(1, &x0) : vxCreateDeepCopy(x0));
    }
    if (x->get_dimensions()[0] == 1) {
        vxSetM(x.get(), vxGetN(x.get()));
        vxSetN(x.get(), 1);
    }
    if (x->get_dimensions()[0] != n || vxGetN(x.get()) != 1) raise<VELTRA::ltitr::invalidInitialCondition>();
    OwnedArray t(vxCreateDeepCopy(x.get()));

    double* xData = static_cast<double*>(x->data);
    double* tData = static_cast<double*>(t->data);
    double* uData = static_cast<double*>(u->data);
    double* XData = static_cast<double*>(X->data);
    const double* UData = static_cast<const double*>(U->data);
    const size_t width = isComplex ? 2 : 1;

    for (size_t k = 0; k + 1 < L; ++k) {
        copyStrided(n, xData, 1, XData + k * width, L, isComplex);
        vfMatrixMult(A, x.get(), t.get());
        if (m == 0) {
            copyStrided(n, tData, 1, xData, 1, isComplex);
            continue;
        }
        copyStrided(m, UData + k * width, L, uData, 1, isComplex);
        vfMatrixMult(B, u.get(), x.get());
        addInto(xData, tData, width * n);
    }
    if (L != 0) copyStrided(n, xData, 1, XData + (L - 1) * width, L, isComplex);

    plhs[0] = X.release();
    for (int i = 0; i < std::max(nlhs, 1); ++i) vxFreeImagIfZero(plhs[i]);
}

}  // namespace vlmathdsp
