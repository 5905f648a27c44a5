// Plan containers: one per host scope, holding six plan caches and the planner settings.
#pragma once

#include <map>

#include "fftlib/fft.hpp"

namespace vfl_fft {

// No lock: the calls of one scope arrive one at a time.
template <class T, int kind>
class localMapCache final : public fftwPlanCacheInterface<T, kind> {
public:
    // Past this many accounted bytes a cache accepts no more plans.
    static constexpr uint64_t kByteLimit = 17000000;

    ~localMapCache() override { clear(); }

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

struct fftwPlanContainer {
    fftwPlanContainer();

    localMapCache<double, kRealToComplex> double0;
    localMapCache<double, kComplexToReal> double1;
    localMapCache<double, kComplexToComplex> double2;
    localMapCache<float, kRealToComplex> float0;
    localMapCache<float, kComplexToReal> float1;
    localMapCache<float, kComplexToComplex> float2;
    fftwContext context;
    uint64_t defaultThreads;

    template <class T, int kind>
    localMapCache<T, kind>& cache();
    void clearAll();
};

// The container of the current host scope, made on first use.
fftwPlanContainer& getFFTWPlanContainer();

// Calls a transform, turning the library's failure texts into the host's errors.
template <class Run>
void translatingFailures(Run&& run);

}  // namespace vfl_fft

#include "fourier/plan_container_impl.hpp"
