// The BLAS routines the library calls, in their Fortran form.
#pragma once

extern "C" {
void daxpy_(const int* n, const double* alpha, const double* x, const int* incx, double* y, const int* incy);
}
