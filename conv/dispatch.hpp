// From host classes to element types, once, at the front end.
#pragma once

#include <complex>

#include "module/argument_helpers.hpp"

namespace vfl_conv {

template <class T>
struct Type {
    using type = T;
};

// Calls f(Type<E>{}) with E the element type of a single or double array.
template <class F>
decltype(auto) withElementType(const vxArray* a, F&& f) {
    const bool complex = vxIsComplexFlags(a);
    if (vlmathdsp::classOf(a) == VX_SINGLE_CLASS)
        return complex ? f(Type<std::complex<float>>{}) : f(Type<float>{});
    return complex ? f(Type<std::complex<double>>{}) : f(Type<double>{});
}

// Calls f(Type<First>{}, Type<Second>{}): the sixteen pairs.
template <class F>
decltype(auto) withElementTypes(const vxArray* first, const vxArray* second, F&& f) {
    return withElementType(first, [&](auto a) {
        return withElementType(second, [&](auto b) { return f(a, b); });
    });
}

}  // namespace vfl_conv
