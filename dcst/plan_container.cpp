// The cosine and sine transforms' plan container.
#include "dcst/plan_container.hpp"

namespace vfl_fft {

dcstPlanContainer::dcstPlanContainer()
    : context(containerContext(services::threading::getNumComputationalThreads())), defaultThreads(context.numThreads) {}

}  // namespace vfl_fft
