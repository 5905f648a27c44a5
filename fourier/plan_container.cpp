// The Fourier transforms' plan container, listed for the planner commands.
#include "fourier/plan_container.hpp"

namespace vfl_fft {

namespace {
const bool kListed = listPlanContainer([]() -> PlanContainer& { return getFFTWPlanContainer(); });
}  // namespace

void fftwPlanContainer::clearAll() {
    double0.clear(), double1.clear(), double2.clear();
    float0.clear(), float1.clear(), float2.clear();
}

}  // namespace vfl_fft
