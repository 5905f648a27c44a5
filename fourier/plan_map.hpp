// What every plan store shares: the map from key to plan behind either family's cache interface,
// and the one container of a type per host scope.
#pragma once

#include <map>

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
