// The BLAS routines the library calls, in their Fortran form, and typed wrappers.
#pragma once

#include <cstdint>

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

// C (m by n) += op(A) op(B), op given by the transpose letters 'N' or 'T'. Callers check that
// every size and leading dimension fits the BLAS's 32-bit integers.
inline void gemmAdd(char transA, char transB, int64_t m, int64_t n, int64_t k, const float* a, int64_t lda,
                    const float* b, int64_t ldb, float* c, int64_t ldc) {
    const float one = 1;
    const int mi = int(m), ni = int(n), ki = int(k), la = int(lda), lb = int(ldb), lc = int(ldc);
    sgemm_(&transA, &transB, &mi, &ni, &ki, &one, a, &la, b, &lb, &one, c, &lc);
}
inline void gemmAdd(char transA, char transB, int64_t m, int64_t n, int64_t k, const double* a, int64_t lda,
                    const double* b, int64_t ldb, double* c, int64_t ldc) {
    const double one = 1;
    const int mi = int(m), ni = int(n), ki = int(k), la = int(lda), lb = int(ldb), lc = int(ldc);
    dgemm_(&transA, &transB, &mi, &ni, &ki, &one, a, &la, b, &lb, &one, c, &lc);
}

}  // namespace vlmathdsp
