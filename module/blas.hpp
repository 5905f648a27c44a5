// The BLAS routines the library calls, in their Fortran form, and typed wrappers.
#pragma once

extern "C" {
void daxpy_(const int* n, const double* alpha, const double* x, const int* incx, double* y, const int* incy);
void sgemm_(const char* transA, const char* transB, const int* m, const int* n, const int* k, const float* alpha,
            const float* a, const int* lda, const float* b, const int* ldb, const float* beta, float* c,
            const int* ldc);
void dgemm_(const char* transA, const char* transB, const int* m, const int* n, const int* k, const double* alpha,
            const double* a, const int* lda, const double* b, const int* ldb, const double* beta, double* c,
            const int* ldc);
}

namespace vlmathdsp {

// C (m by n) += A (m by k) B (k by n), column-major, no transposes.
inline void gemmAdd(int m, int n, int k, const float* a, int lda, const float* b, int ldb, float* c, int ldc) {
    const float one = 1;
    sgemm_("N", "N", &m, &n, &k, &one, a, &lda, b, &ldb, &one, c, &ldc);
}
inline void gemmAdd(int m, int n, int k, const double* a, int lda, const double* b, int ldb, double* c, int ldc) {
    const double one = 1;
    dgemm_("N", "N", &m, &n, &k, &one, a, &lda, b, &ldb, &one, c, &ldc);
}

}  // namespace vlmathdsp
