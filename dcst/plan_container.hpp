// The cosine and sine transforms' plan container: one per host scope, sixteen plan caches (eight
// kinds of each element type) and settings of its own, which the planner commands keep in step
// with the Fourier container's.
#pragma once

#include <tuple>

#include "fftlib/plan_store.hpp"

namespace vfl_fft {

template <class T, int kind>
class localDCSTMapCache final : public PlanMap<dcstPlanCacheInterface<T, kind>, T> {};

struct dcstPlanContainer final : PlanContainer {
    dcstPlanContainer();

    // The cosine kinds of double, then of float; the sine kinds of double, then of float.
    std::tuple<localDCSTMapCache<double, kDct1>, localDCSTMapCache<double, kDct2>, localDCSTMapCache<double, kDct3>,
               localDCSTMapCache<double, kDct4>, localDCSTMapCache<float, kDct1>, localDCSTMapCache<float, kDct2>,
               localDCSTMapCache<float, kDct3>, localDCSTMapCache<float, kDct4>, localDCSTMapCache<double, kDst1>,
               localDCSTMapCache<double, kDst2>, localDCSTMapCache<double, kDst3>, localDCSTMapCache<double, kDst4>,
               localDCSTMapCache<float, kDst1>, localDCSTMapCache<float, kDst2>, localDCSTMapCache<float, kDst3>,
               localDCSTMapCache<float, kDst4>>
        caches;
    template <class T, int kind>
    localDCSTMapCache<T, kind>& cache() {
        return std::get<localDCSTMapCache<T, kind>>(caches);
    }
    void clearAll() override {
        std::apply([](auto&... each) { (each.clear(), ...); }, caches);
    }
};

inline dcstPlanContainer& getDCSTPlanContainer() { return scopeContainer<dcstPlanContainer>(); }

}  // namespace vfl_fft
