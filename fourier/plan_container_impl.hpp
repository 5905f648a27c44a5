// Template parts of the plan container.
#pragma once

#include <stdexcept>
#include <string>
#include <type_traits>

#include "module/exception.hpp"

namespace vfl_fft {

template <class T, int kind>
localMapCache<T, kind>& fftwPlanContainer::cache() {
    if constexpr (std::is_same_v<T, float>) {
        if constexpr (kind == kRealToComplex) return float0;
        else if constexpr (kind == kComplexToReal) return float1;
        else return float2;
    } else {
        if constexpr (kind == kRealToComplex) return double0;
        else if constexpr (kind == kComplexToReal) return double1;
        else return double2;
    }
}

template <class Run>
void translatingFailures(Run&& run) {
    try {
        run();
    } catch (const foundation::core::except::IMsgIDException&) {
        throw;
    } catch (const std::exception& e) {
        const std::string what = e.what();
        if (what == "FFTW:nomem") foundation::core::except::detail::legacy(foundation::core::except::bad_alloc());
        if (what == "FFTWAssertionFailure") vlmathdsp::raise<VELTRA::fftfcn::FFTWAssertionFailure>();
        throw;
    }
}

}  // namespace vfl_fft
