// The Fourier transforms' plan container: one per host scope, six plan caches and the settings.
#pragma once

#include "fftlib/plan_store.hpp"

namespace vfl_fft {

template <class T, int kind>
class localMapCache final : public PlanMap<fftwPlanCacheInterface<T, kind>, T> {};

struct fftwPlanContainer final : PlanContainer {

    localMapCache<double, kRealToComplex> double0;
    localMapCache<double, kComplexToReal> double1;
    localMapCache<double, kComplexToComplex> double2;
    localMapCache<float, kRealToComplex> float0;
    localMapCache<float, kComplexToReal> float1;
    localMapCache<float, kComplexToComplex> float2;
    template <class T, int kind>
    localMapCache<T, kind>& cache();
    void clearAll() override;
};

inline fftwPlanContainer& getFFTWPlanContainer() { return scopeContainer<fftwPlanContainer>(); }

// Calls a transform, turning the library's failure texts into the host's errors.
template <class Run>
void translatingFailures(Run&& run);

}  // namespace vfl_fft

#include "fourier/plan_container_impl.hpp"
