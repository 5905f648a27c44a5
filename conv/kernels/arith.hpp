// Element arithmetic of the convolution kernels. Every product and sum is rounded on its own
// (no fused multiply-add), and complex products are spelled out, so that a vectorised loop and
// a scalar one give the same bits.
#pragma once

#include <complex>
#include <cstddef>
#include <type_traits>

namespace vfl_conv {

template <class T>
struct IsComplex : std::false_type {};
template <class T>
struct IsComplex<std::complex<T>> : std::true_type {};

template <class T>
struct RealOf {
    using type = T;
};
template <class T>
struct RealOf<std::complex<T>> {
    using type = T;
};
template <class T>
using Real = typename RealOf<T>::type;

// The output element of a pair: single if either is single, complex if either is complex.
template <class A, class B>
struct OutputOfPair {
    using real = std::conditional_t<std::is_same_v<Real<A>, float> || std::is_same_v<Real<B>, float>, float, double>;
    using type = std::conditional_t<IsComplex<A>::value || IsComplex<B>::value, std::complex<real>, real>;
};
template <class A, class B>
using OutputOf = typename OutputOfPair<A, B>::type;

// A value brought to the precision R, keeping whether it is complex.
template <class R, class T>
inline auto toPrecision(const T& v) {
    if constexpr (IsComplex<T>::value) return std::complex<R>(static_cast<R>(v.real()), static_cast<R>(v.imag()));
    else return static_cast<R>(v);
}

// a * b in precision R; a complex product as (ar br - ai bi, ar bi + ai br). The real part is
// written as ar br + (-ai) bi, which rounds the same, so that no vectoriser turns the
// alternating subtract and add into fused multiply-add-subtract instructions.
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

template <class T>
inline bool isExactZero(const T& v) {
    if constexpr (IsComplex<T>::value) return v.real() == 0 && v.imag() == 0;
    else return v == 0;
}

}  // namespace vfl_conv
