// The cosine and sine transforms' plan container, listed for the planner commands. The
// constructor is out of line so that every program that makes a container links this file, and
// with it the listing.
#include "dcst/plan_container.hpp"

namespace vfl_fft {

dcstPlanContainer::dcstPlanContainer() = default;

namespace {
const bool kListed = listPlanContainer([]() -> PlanContainer& { return getDCSTPlanContainer(); });
}  // namespace

}  // namespace vfl_fft
