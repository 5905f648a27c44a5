// The half spectrum's plan container. The constructor is out of line so that every program that
// makes one links this file, and with it the listing.
#include "fftlib/half_spectrum.hpp"

namespace vfl_fft {

HalfSpectrumPlans::HalfSpectrumPlans() = default;

void HalfSpectrumPlans::clearAll() {
    doubles.clear();
    singles.clear();
}

HalfSpectrumPlans& getHalfSpectrumPlans() { return scopeContainer<HalfSpectrumPlans>(); }

namespace {
const bool kListed = listPlanContainer([]() -> PlanContainer& { return getHalfSpectrumPlans(); });
}  // namespace

template <class T>
void halfSpectrum(const T* in, std::complex<T>* out, uint64_t stride, uint64_t n, uint64_t inLen, uint64_t howMany) {
    HalfSpectrumPlans& plans = getHalfSpectrumPlans();
    if constexpr (std::is_same_v<T, double>)
        veltraRealFFT1DHalf<T>(plans.context, &plans.doubles, in, out, stride, n, inLen, howMany);
    else
        veltraRealFFT1DHalf<T>(plans.context, &plans.singles, in, out, stride, n, inLen, howMany);
}

template void halfSpectrum<float>(const float*, std::complex<float>*, uint64_t, uint64_t, uint64_t, uint64_t);
template void halfSpectrum<double>(const double*, std::complex<double>*, uint64_t, uint64_t, uint64_t, uint64_t);

}  // namespace vfl_fft
