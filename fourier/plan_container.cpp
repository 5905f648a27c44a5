// The plan container in the host's per-scope store.
#include "fourier/plan_container.hpp"

namespace vfl_fft {

namespace {
using Store = foundation::usm::Detail<foundation::usm::scope::Vvm>;
}

// A new container: plans for the host's thread count at creation, estimated (FFTW_ESTIMATE:
// planning costs no transform runs, and the plans do not depend on timing), threaded from 4
// sequences (the "rows" command's default), and the flag that marks a container's context.
constexpr uint64_t kDefaultRows = 4;
constexpr int32_t kDefaultPlannerFlags = FFTW_ESTIMATE;
constexpr uint8_t kContainerContextFlag = 1;

fftwPlanContainer::fftwPlanContainer() : defaultThreads(services::threading::getNumComputationalThreads()) {
    context.numThreads = defaultThreads;
    context.rows = kDefaultRows;
    context.plannerFlags = kDefaultPlannerFlags;
    context.contextFlag = kContainerContextFlag;
}

void fftwPlanContainer::clearAll() {
    double0.clear(), double1.clear(), double2.clear();
    float0.clear(), float1.clear(), float2.clear();
}

fftwPlanContainer& getFFTWPlanContainer() {
    static const size_t id = Store::getNextID(typeid(fftwPlanContainer));
    if (foundation::usm::Cell* cell = Store::find(id, typeid(fftwPlanContainer)))
        return *static_cast<fftwPlanContainer*>(cell->get());
    foundation::usm::Cell fresh(new fftwPlanContainer, [](void* p) { delete static_cast<fftwPlanContainer*>(p); });
    foundation::usm::Cell* cell = Store::findOrInsert(id, typeid(fftwPlanContainer), std::move(fresh));
    return *static_cast<fftwPlanContainer*>(cell->get());
}

}  // namespace vfl_fft
