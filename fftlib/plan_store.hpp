// The plan stores of a host scope: the map from key to plan behind a cache interface, the one
// container of a type per scope, and the list through which the planner commands reach every
// family's container (this library's own and its callers') without knowing any of them.
#pragma once

#include <map>
#include <vector>

#include "fftlib/fft.hpp"
#include "module/host_interface.hpp"

namespace vfl_fft {

// No lock: the calls of one scope arrive one at a time. No eviction: past kByteLimit accounted
// bytes (the first key word counted as complex values of T) the map accepts no more plans.
template <class Interface, class T>
class PlanMap : public Interface {
public:
    static constexpr uint64_t kByteLimit = 17000000;

    ~PlanMap() override { clear(); }

    bool insert(const PlanKey& key, PlanOf<T> plan) override {
        if (usedBytes_ >= kByteLimit) return false;
        if (!plans_.emplace(key, plan).second) return false;
        usedBytes_ += key[0] * 2 * sizeof(T);
        return true;
    }

    PlanOf<T> find(const PlanKey& key) override {
        auto it = plans_.lower_bound(key);
        return it != plans_.end() && it->first == key ? it->second : nullptr;
    }

    void clear() {
        for (auto& entry : plans_) fftwApi::getInstance().destroyPlan(entry.second);
        plans_.clear();
        usedBytes_ = 0;
    }

    uint64_t usedBytes() const { return usedBytes_; }
    size_t size() const { return plans_.size(); }

private:
    std::map<PlanKey, PlanOf<T>> plans_;
    uint64_t usedBytes_ = 0;
};

// A container's settings when it is made: the host's thread count at that moment, estimated
// plans (FFTW_ESTIMATE: planning runs no transforms, and plans do not depend on timing), threaded
// from 4 sequences (the "rows" command's default), and the flag that marks a container's context.
fftwContext containerContext(uint64_t threads);

// What the planner commands see of a family's container: its settings, and a way to empty it.
struct PlanContainer {
    // The settings of containerContext, for the host's thread count at this moment.
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

// The one Container of the current host scope, made on first use; a thread that loses the race
// to store it destroys its own.
template <class Container>
Container& scopeContainer() {
    using Store = foundation::usm::Detail<foundation::usm::scope::Vvm>;
    static const size_t id = Store::getNextID(typeid(Container));
    if (foundation::usm::Cell* cell = Store::find(id, typeid(Container))) return *static_cast<Container*>(cell->get());
    foundation::usm::Cell fresh(new Container, [](void* p) { delete static_cast<Container*>(p); });
    foundation::usm::Cell* cell = Store::findOrInsert(id, typeid(Container), std::move(fresh));
    return *static_cast<Container*>(cell->get());
}

}  // namespace vfl_fft
