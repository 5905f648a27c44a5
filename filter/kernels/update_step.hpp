// The unit of all filtering: out[p, p + n) += s * v, one sample times a run of coefficients.
// Complex operands are interleaved pairs; their types and n pick an inline loop or a long form.
#pragma once

#include <complex>
#include <cstddef>

#include "common/exact_arith.hpp"

namespace vfl_filter {

// Updates longer than this take the long form; shorter ones, and zero samples, stay inline.
constexpr size_t kInlineUpdateMax = 16;

// The long forms are BLAS's axpy in two roundings (vlcommon::axpyAsBlas), so that an update
// gives the same bits in either form and a result never depends on where a column was cut.
template <class T>
inline std::complex<T>* asComplex(T* p) {
    return reinterpret_cast<std::complex<T>*>(p);
}
template <class T>
inline const std::complex<T>* asComplex(const T* p) {
    return reinterpret_cast<const std::complex<T>*>(p);
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
            vlcommon::axpyAsBlas(n, s[0], v, 1, out + 2 * p, 2);
        } else if (longForm) {
            vlcommon::axpyAsBlas(n, s[0], v, 1, out + p, 1);
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
            vlcommon::axpyAsBlas(n, *asComplex(s), v, 1, asComplex(o), 1);
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
            vlcommon::axpyAsBlas(2 * n, s[0], v, 1, o, 1);
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
            vlcommon::axpyAsBlas(n, *asComplex(s), asComplex(v), 1, asComplex(o), 1);
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
