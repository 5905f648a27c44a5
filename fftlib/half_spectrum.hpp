// Real-to-complex transforms kept to their non-negative frequencies, on plans of this library's
// own container: one per host scope, listed with the callers' so that the planner settings and
// the clearing commands reach it.
#pragma once

#include "fftlib/plan_store.hpp"

#pragma GCC visibility push(default)

namespace vfl_fft {

struct HalfSpectrumPlans final : PlanContainer {
    HalfSpectrumPlans();
    void clearAll() override;

    PlanMap<fftwPlanCacheInterface<double, kRealToComplex>, double> doubles;
    PlanMap<fftwPlanCacheInterface<float, kRealToComplex>, float> singles;
};

HalfSpectrumPlans& getHalfSpectrumPlans();

// veltraRealFFT1DHalf with the current scope's plans and settings.
template <class T>
void halfSpectrum(const T* in, std::complex<T>* out, uint64_t stride, uint64_t n, uint64_t inLen, uint64_t howMany);

}  // namespace vfl_fft

#pragma GCC visibility pop
