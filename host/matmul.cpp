// Matrix product into an existing array, real and complex, double and single, through BLAS.
#include <complex>
#include <cstring>
#include <limits>

#include "host/array.hpp"
#include "host/errors.hpp"
#include "host/kernels/gemv.hpp"

extern "C" {
void dgemm_(const char*, const char*, const int*, const int*, const int*, const double*, const double*, const int*,
            const double*, const int*, const double*, double*, const int*);
void sgemm_(const char*, const char*, const int*, const int*, const int*, const float*, const float*, const int*,
            const float*, const int*, const float*, float*, const int*);
void zgemm_(const char*, const char*, const int*, const int*, const int*, const void*, const void*, const int*,
            const void*, const int*, const void*, void*, const int*);
void cgemm_(const char*, const char*, const int*, const int*, const int*, const void*, const void*, const int*,
            const void*, const int*, const void*, void*, const int*);
void dgemv_(const char*, const int*, const int*, const double*, const double*, const int*, const double*, const int*,
            const double*, double*, const int*);
void sgemv_(const char*, const int*, const int*, const float*, const float*, const int*, const float*, const int*,
            const float*, float*, const int*);
}

namespace vlhost::detail {

namespace {

// Matrix-vector products up to this many matrix elements (256 KiB of doubles) run in the
// host's own kernel (kernels::smallGemv), which beats the BLAS call overhead on small operands.
constexpr size_t kSmallGemvLimit = 32768;

void gemm(const char* ta, const char* tb, int m, int n, int k, const double* a, int lda, const double* b, int ldb,
          double* c, int ldc) {
    const double one = 1.0, zero = 0.0;
    dgemm_(ta, tb, &m, &n, &k, &one, a, &lda, b, &ldb, &zero, c, &ldc);
}
void gemm(const char* ta, const char* tb, int m, int n, int k, const float* a, int lda, const float* b, int ldb,
          float* c, int ldc) {
    const float one = 1.0f, zero = 0.0f;
    sgemm_(ta, tb, &m, &n, &k, &one, a, &lda, b, &ldb, &zero, c, &ldc);
}
void gemv(int m, int n, const double* a, const double* x, double* y) {
    const double one = 1.0, zero = 0.0;
    const int inc = 1;
    dgemv_("N", &m, &n, &one, a, &m, x, &inc, &zero, y, &inc);
}
void gemv(int m, int n, const float* a, const float* x, float* y) {
    const float one = 1.0f, zero = 0.0f;
    const int inc = 1;
    sgemv_("N", &m, &n, &one, a, &m, x, &inc, &zero, y, &inc);
}
void complexGemm(int m, int n, int k, const std::complex<double>* a, const std::complex<double>* b,
                 std::complex<double>* c) {
    const std::complex<double> one = 1.0, zero = 0.0;
    zgemm_("N", "N", &m, &n, &k, &one, a, &m, b, &k, &zero, c, &m);
}
void complexGemm(int m, int n, int k, const std::complex<float>* a, const std::complex<float>* b,
                 std::complex<float>* c) {
    const std::complex<float> one = 1.0f, zero = 0.0f;
    cgemm_("N", "N", &m, &n, &k, &one, a, &m, b, &k, &zero, c, &m);
}

// c (p by r) = a (p by q) times b (q by r); each operand real or complex, c complex if either is.
template <class T>
void multiply(const T* a, bool ca, const T* b, bool cb, T* c, int p, int q, int r) {
    const bool small = r == 1 && size_t(p) * size_t(q) <= kSmallGemvLimit;
    if (small && !ca) {
        // A complex b is two interleaved real vectors.
        kernels::smallGemv<T>(p, q, a, b, cb ? 2 : 1, c);
        if (cb) kernels::smallGemv<T>(p, q, a, b + 1, 2, c + 1);
    } else if (!ca && !cb) {
        if (r == 1) gemv(p, q, a, b, c);
        else gemm("N", "N", p, r, q, a, p, b, q, c, p);
    } else if (ca && cb) {
        using C = std::complex<T>;
        complexGemm(p, r, q, reinterpret_cast<const C*>(a), reinterpret_cast<const C*>(b), reinterpret_cast<C*>(c));
    } else if (ca) {
        // Interleaved a is a real 2p-by-q matrix; so is c, 2p by r.
        if (r == 1) gemv(2 * p, q, a, b, c);
        else gemm("N", "N", 2 * p, r, q, a, 2 * p, b, q, c, 2 * p);
    } else {
        // Column j of b is a real 2-by-q matrix: c_j (2 by p) = b_j times a transposed.
        for (int j = 0; j < r; ++j)
            gemm("N", "T", 2, p, q, b + size_t(2) * q * j, 2, a, p, c + size_t(2) * p * j, 2);
    }
}

}  // namespace

}  // namespace vlhost::detail

using namespace vlhost::detail;

void vfMatrixMult(vxArray* a, vxArray* b, vxArray* c) {
    HostArray *ha = host(a), *hb = host(b), *hc = host(c);
    const size_t p = ha->dims[0], q = matrix::detail::noninlined::vx_array_api::vxGetN(a);
    const size_t r = matrix::detail::noninlined::vx_array_api::vxGetN(b);
    if (hb->dims[0] != q) raiseHostError("innerdim");
    const vxClassID id = ha->classOf;
    if ((id != VX_DOUBLE_CLASS && id != VX_SINGLE_CLASS) || hb->classOf != id || hc->classOf != id ||
        ha->kind != Kind::Numeric || hb->kind != Kind::Numeric || hc->kind != Kind::Numeric)
        raiseHostError("invalidClass", std::string("matrix products take full double or single arrays of one class"));
    const bool ca = isComplex(a), cb = isComplex(b), cc = isComplex(c);
    if (hc->dims[0] != p || matrix::detail::noninlined::vx_array_api::vxGetN(c) != r || cc != (ca || cb))
        raiseHostError("innerdim");
    const size_t limit = static_cast<size_t>(std::numeric_limits<int>::max() / 2);
    if (p > limit || q > limit || r > limit) raiseHostError("invalidClass", std::string("matrix too large for BLAS"));
    if (p == 0 || r == 0) return;
    const size_t elem = classElementBytes(id) * (cc ? 2 : 1);
    if (q == 0) {
        std::memset(c->data, 0, p * r * elem);
        return;
    }
    if (id == VX_DOUBLE_CLASS)
        multiply(static_cast<const double*>(a->data), ca, static_cast<const double*>(b->data), cb,
                 static_cast<double*>(c->data), int(p), int(q), int(r));
    else
        multiply(static_cast<const float*>(a->data), ca, static_cast<const float*>(b->data), cb,
                 static_cast<float*>(c->data), int(p), int(q), int(r));
}
