// Template parts of the plan container.
#pragma once

#include <stdexcept>
#include <string>

#include "module/exception.hpp"

namespace vfl_fft {

template <>
inline localMapCache<double, 0>& fftwPlanContainer::cache<double, 0>() { return double0; }
template <>
inline localMapCache<double, 1>& fftwPlanContainer::cache<double, 1>() { return double1; }
template <>
inline localMapCache<double, 2>& fftwPlanContainer::cache<double, 2>() { return double2; }
template <>
inline localMapCache<float, 0>& fftwPlanContainer::cache<float, 0>() { return float0; }
template <>
inline localMapCache<float, 1>& fftwPlanContainer::cache<float, 1>() { return float1; }
template <>
inline localMapCache<float, 2>& fftwPlanContainer::cache<float, 2>() { return float2; }

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
