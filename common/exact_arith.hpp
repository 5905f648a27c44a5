// Arithmetic in two roundings: every product and every sum rounded on its own, never fused,
// complex products spelled out. A vectorised loop and a scalar one then give the same bits, and
// so does every path of a built-in that uses these.
#pragma once

#include <cmath>
#include <cstddef>
#include <limits>

#include "common/element_type.hpp"

namespace vlcommon {

// A value brought to the precision R, keeping whether it is complex.
template <class R, class T>
inline auto toPrecision(const T& v) {
    if constexpr (IsComplex<T>::value) return std::complex<R>(static_cast<R>(v.real()), static_cast<R>(v.imag()));
    else return static_cast<R>(v);
}

// a * b in precision R; complex as (ar br - ai bi, ar bi + ai br). The real part is written
// ar br + (-ai) bi, which rounds the same, so that no vectoriser turns the alternating subtract
// and add into fused multiply-add-subtract instructions.
template <class R, class A, class B>
inline auto product(const A& a0, const B& b0) {
    const auto a = toPrecision<R>(a0);
    const auto b = toPrecision<R>(b0);
    if constexpr (IsComplex<A>::value && IsComplex<B>::value) {
        return std::complex<R>(a.real() * b.real() + (-a.imag()) * b.imag(), a.real() * b.imag() + a.imag() * b.real());
    } else if constexpr (IsComplex<A>::value) {
        return std::complex<R>(a.real() * b, a.imag() * b);
    } else if constexpr (IsComplex<B>::value) {
        return std::complex<R>(a * b.real(), a * b.imag());
    } else {
        return a * b;
    }
}

// y += tap * x, in y's precision.
template <class Y, class T, class X>
inline void multiplyAdd(Y& y, const T& tap, const X& x) {
    const auto p = product<Real<Y>>(tap, x);
    if constexpr (IsComplex<Y>::value) {
        if constexpr (IsComplex<std::remove_cv_t<decltype(p)>>::value) y = Y(y.real() + p.real(), y.imag() + p.imag());
        else y = Y(y.real() + p, y.imag());
    } else {
        y += p;
    }
}

// Both parts exactly zero, of either sign; NaN is not zero.
template <class T>
inline bool isExactZero(const T& v) {
    if constexpr (IsComplex<T>::value) return v.real() == 0 && v.imag() == 0;
    else return v == 0;
}

// y[i incY] += tap x[i incX] for i in [0, n), ascending.
template <class Y, class X, class T>
inline void axpyStrided(Y* y, ptrdiff_t incY, const X* x, ptrdiff_t incX, const T& tap, size_t n) {
    for (ptrdiff_t i = 0; i < ptrdiff_t(n); ++i) multiplyAdd(y[i * incY], tap, x[i * incX]);
}

// The same over contiguous runs that do not overlap.
template <class Y, class X, class T>
inline void axpyContiguous(Y* __restrict y, const X* __restrict x, const T& tap, size_t n) {
    for (size_t i = 0; i < n; ++i) multiplyAdd(y[i], tap, x[i]);
}

// BLAS's axpy in these roundings: y[i incY] += alpha x[i incX], returning at once for a zero
// alpha, as BLAS does.
template <class Y, class X, class T>
inline void axpyAsBlas(size_t n, const T& alpha, const X* x, ptrdiff_t incX, Y* y, ptrdiff_t incY) {
    if (isExactZero(alpha)) return;
    if (incX == 1 && incY == 1) axpyContiguous(y, x, alpha, n);
    else axpyStrided(y, incY, x, incX, alpha, n);
}

// (u + v i) / (p + q i) by Smith's method, which scales by the larger part of the divisor so
// that no intermediate overflows early. A zero or NaN divisor gives NaN in both parts.
template <class T>
inline std::complex<T> smithQuotient(T u, T v, T p, T q) {
    const T nan = std::numeric_limits<T>::quiet_NaN();
    if (std::isnan(p) || std::isnan(q)) return {nan, nan};
    if (std::fabs(p) <= std::fabs(q)) {
        if (q == T(0)) return {nan, nan};
        const T w = p / q, s = w * p + q;
        if (std::isnan(s) || s == T(0)) return {nan, nan};
        return {(u * w + v) / s, (v * w + (-u)) / s};  // v w - u as a sum
    }
    const T w = q / p, s = w * q + p;
    if (std::isnan(s) || s == T(0)) return {nan, nan};
    return {(v * w + u) / s, (v + (-u) * w) / s};  // v - u w
}

}  // namespace vlcommon
