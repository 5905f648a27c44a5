// The settings every container starts with, and the list of the families' containers.
#include "fftlib/plan_store.hpp"

namespace vfl_fft {

constexpr uint64_t kDefaultRows = 4;
constexpr int32_t kDefaultPlannerFlags = FFTW_ESTIMATE;
constexpr uint8_t kContainerContextFlag = 1;

fftwContext containerContext(uint64_t threads) {
    fftwContext context;
    context.numThreads = threads;
    context.rows = kDefaultRows;
    context.plannerFlags = kDefaultPlannerFlags;
    context.contextFlag = kContainerContextFlag;
    return context;
}

PlanContainer::PlanContainer()
    : context(containerContext(services::threading::getNumComputationalThreads())), defaultThreads(context.numThreads) {}

namespace {

std::vector<PlanContainerGetter>& getters() {
    static std::vector<PlanContainerGetter> list;
    return list;
}

}  // namespace

bool listPlanContainer(PlanContainerGetter getter) {
    getters().push_back(getter);
    return true;
}

const std::vector<PlanContainerGetter>& planContainerGetters() { return getters(); }

}  // namespace vfl_fft
