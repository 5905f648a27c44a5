// The update step of filtering: out[p + i] += s * v[i] for i in [0, n), with a sample s and a run
// of coefficients v, each real or complex (complex data interleaved, an index i at 2 i).
#pragma once

#include <cstddef>

namespace vfl_filter {

// Updates longer than this take the long form; shorter ones, and zero samples, stay inline.
constexpr size_t kInlineUpdateMax = 16;

// The long forms have the semantics of BLAS's axpy: a zero scale returns at once. They are the
// library's own loops, one rounding per product and per sum, so that an update gives the same
// bits in either form and a result never depends on where a column was cut into chunks.
template <class T>
inline void axpyForm(size_t n, T alpha, const T* x, ptrdiff_t incx, T* y, ptrdiff_t incy) {
    if (alpha == T(0)) return;
    if (incx == 1 && incy == 1) {
        for (size_t i = 0; i < n; ++i) y[i] += alpha * x[i];
        return;
    }
    for (size_t i = 0; i < n; ++i) y[ptrdiff_t(i) * incy] += alpha * x[ptrdiff_t(i) * incx];
}

// Complex y and alpha, interleaved, and complex x: y += alpha * x.
template <class T>
inline void complexAxpyForm(size_t n, const T* alpha, const T* x, T* y) {
    const T ar = alpha[0], ai = alpha[1];
    if (ar == T(0) && ai == T(0)) return;
    for (size_t i = 0; i < n; ++i) {
        const T xr = x[2 * i], xi = x[2 * i + 1];
        y[2 * i] += ar * xr + (-ai) * xi;  // ar xr - ai xi, rounded alike
        y[2 * i + 1] += ar * xi + ai * xr;
    }
}

// Complex y and alpha, real x: y[i * incy] += alpha * x[i * incx], strides in elements of each
// vector's own type.
template <class T>
inline void mixedAxpy(T* y, ptrdiff_t incy, const T* x, ptrdiff_t incx, const T* alpha, size_t n) {
    const T ar = alpha[0], ai = alpha[1];
    if ((incy == 1 && incx == 1) || (incy == -1 && incx == -1)) {
        const ptrdiff_t step = incy;
        for (size_t i = 0; i < n; ++i) {
            const T v = x[ptrdiff_t(i) * step];
            y[2 * ptrdiff_t(i) * step] += ar * v;
            y[2 * ptrdiff_t(i) * step + 1] += ai * v;
        }
        return;
    }
    for (size_t i = 0; i < n; ++i) {
        const T v = x[ptrdiff_t(i) * incx];
        y[2 * ptrdiff_t(i) * incy] += ar * v;
        y[2 * ptrdiff_t(i) * incy + 1] += ai * v;
    }
}

template <class T>
inline bool sampleIsZero(const T* s, bool complex) {
    return complex ? (s[0] == T(0) && s[1] == T(0)) : s[0] == T(0);  // NaN is not zero
}

// out[p + i] += s * v[i]; `out` points at element 0 of the column, s at the sample. Differences
// of products are written as sums with a negated factor, which round the same: the vectoriser
// would otherwise fuse alternating subtract and add into multiply-add instructions.
template <class T>
inline void updateStep(T* out, bool outCplx, size_t p, const T* s, bool sCplx, const T* v, bool vCplx, size_t n) {
    if (n == 0) return;
    const bool longForm = n > kInlineUpdateMax && !sampleIsZero(s, sCplx);
    if (!vCplx && !sCplx) {
        if (outCplx) {  // always the long form, on the real parts
            axpyForm(n, s[0], v, 1, out + 2 * p, 2);
        } else if (longForm) {
            axpyForm(n, s[0], v, 1, out + p, 1);
        } else {
            T* o = out + p;
            const T sv = s[0];
            for (size_t i = 0; i < n; ++i) {
                const T product = sv * v[i];
                o[i] += product;
            }
        }
    } else if (!vCplx) {  // real coefficients, complex sample
        T* o = out + 2 * p;
        if (longForm) {
            mixedAxpy(o, 1, v, 1, s, n);
        } else {
            const T sr = s[0], si = s[1];
            for (size_t i = 0; i < n; ++i) {
                o[2 * i] += sr * v[i] + (-si) * T(0);  // sr v - si 0: the coefficient as (v, 0)
                o[2 * i + 1] += si * v[i] + sr * T(0);
            }
        }
    } else if (!sCplx) {  // complex coefficients, real sample
        T* o = out + 2 * p;
        if (longForm) {
            axpyForm(2 * n, s[0], v, 1, o, 1);
        } else {
            const T sv = s[0];
            for (size_t i = 0; i < n; ++i) {
                o[2 * i] += v[2 * i] * sv;
                o[2 * i + 1] += v[2 * i + 1] * sv;
            }
        }
    } else {
        T* o = out + 2 * p;
        if (longForm) {
            complexAxpyForm(n, s, v, o);
        } else {
            const T sr = s[0], si = s[1];
            for (size_t i = 0; i < n; ++i) {
                const T vr = v[2 * i], vi = v[2 * i + 1];
                o[2 * i] += vr * sr + vi * (-si);  // vr sr - vi si; written so no multiply-add forms
                o[2 * i + 1] += vi * sr + vr * si;
            }
        }
    }
}

}  // namespace vfl_filter
