// Plans that a cache refused, kept aside for a while. A cache that is full accepts no more plans,
// and every later call of a length it does not hold would plan again (a prime length of 65537:
// 1.5 ms a call with its plan, 6.9 ms planning each time). The caches keep their rules; the few
// plans refused last stay here, shared with the calls that use them. A miss of the cache still
// offers a plan to it: the kept one, which the cache then owns if it takes it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "fftlib/fft.hpp"
#include "fftlib/plans.hpp"

namespace vfl_fft {

template <class T>
struct HeldPlan {
    explicit HeldPlan(PlanOf<T> p) : plan(p) {}
    HeldPlan(const HeldPlan&) = delete;
    HeldPlan& operator=(const HeldPlan&) = delete;
    ~HeldPlan() {
        if (!adopted) Fftw<T>::destroy(plan);
    }
    PlanOf<T> plan;
    bool adopted = false;  // a cache took it over later, and destroys it
};

template <class T>
class RefusedPlans {
public:
    // At most this many plans, accounted as the caches account them (the length in complex values).
    static constexpr size_t kMaxPlans = 8;
    static constexpr uint64_t kByteLimit = 17000000;

    static RefusedPlans& instance() {
        static auto* plans = new RefusedPlans;  // plans may outlive static data at exit
        return *plans;
    }

    // `family` names the caches' interface, whose keys mean the same plans.
    std::shared_ptr<HeldPlan<T>> find(size_t family, const PlanKey& key) {
        std::lock_guard<std::mutex> lock(mutex_);
        for (size_t i = 0; i < kept_.size(); ++i)
            if (kept_[i].family == family && kept_[i].key == key) {
                std::rotate(kept_.begin() + ptrdiff_t(i), kept_.begin() + ptrdiff_t(i) + 1, kept_.end());
                return kept_.back().plan;
            }
        return nullptr;
    }

    // A cache accepted the kept plan after all: it leaves here, and the cache destroys it.
    void adopted(size_t family, const PlanKey& key) {
        std::shared_ptr<HeldPlan<T>> gone;
        std::lock_guard<std::mutex> lock(mutex_);
        for (size_t i = 0; i < kept_.size(); ++i)
            if (kept_[i].family == family && kept_[i].key == key) {
                kept_[i].plan->adopted = true;
                gone = std::move(kept_[i].plan);
                bytes_ -= kept_[i].bytes;
                kept_.erase(kept_.begin() + ptrdiff_t(i));
                return;
            }
    }

    // Takes the plan over; the oldest kept ones go to make room.
    std::shared_ptr<HeldPlan<T>> keep(size_t family, const PlanKey& key, PlanOf<T> plan) {
        auto held = std::make_shared<HeldPlan<T>>(plan);
        const uint64_t bytes = key[0] * 2 * sizeof(T);
        std::vector<Entry> gone;  // released outside the lock
        std::lock_guard<std::mutex> lock(mutex_);
        if (bytes > kByteLimit) return held;
        while (!kept_.empty() && (kept_.size() == kMaxPlans || bytes_ + bytes > kByteLimit)) {
            bytes_ -= kept_.front().bytes;
            gone.push_back(std::move(kept_.front()));
            kept_.erase(kept_.begin());
        }
        kept_.push_back({family, key, held, bytes});
        bytes_ += bytes;
        return held;
    }

private:
    struct Entry {
        size_t family;
        PlanKey key;
        std::shared_ptr<HeldPlan<T>> plan;
        uint64_t bytes;
    };
    std::mutex mutex_;
    std::vector<Entry> kept_;  // oldest use first
    uint64_t bytes_ = 0;
};

}  // namespace vfl_fft
