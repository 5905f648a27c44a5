// Element types: real or complex, single or double; the output of a pair; and the one switch
// from run-time flags to a compile-time type.
#pragma once

#include <complex>
#include <type_traits>

namespace vlcommon {

template <class T>
struct Type {
    using type = T;
};

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

// f(Type<float>{}) or f(Type<double>{}).
template <class F>
decltype(auto) withRealType(bool single, F&& f) {
    return single ? f(Type<float>{}) : f(Type<double>{});
}

// f(Type<E>{}) with E float, double, or their complex forms.
template <class F>
decltype(auto) withElementType(bool single, bool complex, F&& f) {
    if (single) return complex ? f(Type<std::complex<float>>{}) : f(Type<float>{});
    return complex ? f(Type<std::complex<double>>{}) : f(Type<double>{});
}

}  // namespace vlcommon
