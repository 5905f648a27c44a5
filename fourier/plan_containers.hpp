// The plan containers of a host scope as the planner commands see them: settings, and a way to
// empty them, whatever the family. Each family's container derives from PlanContainer and lists
// its getter once; the commands reach every family through the list and know none of them.
#pragma once

#include <vector>

#include "fftlib/fft.hpp"

namespace vfl_fft {

struct PlanContainer {
    // The container settings of containerContext, for the host's thread count at this moment.
    PlanContainer();
    virtual ~PlanContainer() = default;
    virtual void clearAll() = 0;

    fftwContext context;
    uint64_t defaultThreads;
};

// The current scope's container of one family, made on first use.
using PlanContainerGetter = PlanContainer& (*)();

// Adds a family's getter to the list; true, for a namespace-scope constant to hold.
bool listPlanContainer(PlanContainerGetter getter);
const std::vector<PlanContainerGetter>& planContainerGetters();

// f(container) for the current scope's container of every family.
template <class F>
void forEachPlanContainer(F f) {
    for (PlanContainerGetter get : planContainerGetters()) f(get());
}

}  // namespace vfl_fft
