// Keeps each TBB worker on a core other than its caller's.
//
// A worker left free to move can be packed by the kernel onto the core of the thread that
// called it: the two then take turns on one core, preempting each other at scheduler ticks, while
// the other core idles; a worker woken after a pause could also wait a tick (about 4 ms) to run.
// The calling thread stays free. Workers are registered when they first join an arena; at each
// call the caller binds them to cores other than the one it is on, when they are not there yet.
// VLMATHDSP_PIN_WORKERS=0 leaves the workers free.
#include "host/threads.hpp"

#include <dirent.h>
#include <pthread.h>
#include <sched.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

namespace vlhost::detail {

namespace {

bool pinningWanted() {
    const char* setting = std::getenv("VLMATHDSP_PIN_WORKERS");
    return !(setting && std::strcmp(setting, "0") == 0);
}

// The cores of these threads (0 for the calling one), in increasing order.
std::vector<int> coresOf(const std::vector<pid_t>& tids) {
    cpu_set_t all;
    CPU_ZERO(&all);
    for (const pid_t tid : tids) {
        cpu_set_t set;
        CPU_ZERO(&set);
        if (sched_getaffinity(tid, sizeof set, &set) == 0) CPU_OR(&all, &all, &set);
    }
    std::vector<int> found;
    for (int c = 0; c < CPU_SETSIZE; ++c)
        if (CPU_ISSET(c, &all)) found.push_back(c);
    return found;
}

struct Worker {
    pid_t tid;
    int core;  // the core it is bound to, -1 while free
};

// The live workers, in the order they first joined.
class Registry {
public:
    void add(pid_t tid) {
        std::lock_guard<std::mutex> lock(mutex_);
        workers_.push_back({tid, -1});
        placedFor_ = kNone;
    }
    void remove(pid_t tid) {
        std::lock_guard<std::mutex> lock(mutex_);
        workers_.erase(std::remove_if(workers_.begin(), workers_.end(), [&](const Worker& w) { return w.tid == tid; }),
                       workers_.end());
        placedFor_ = kNone;
    }
    // Worker k takes the k-th allowed core counted from the last, `callerCore` skipped. The
    // allowed cores are read each time workers are placed, as those of the process's threads that
    // this registry did not bind (the caller, free workers, the BLAS's and the embedder's own): a
    // change of the process's set (taskset -a) reaches them all, and placing within them never
    // leaves it.
    void placeAwayFrom(int callerCore) {
        // A caller on the core the workers were last placed for has nothing to do: no lock.
        if (placedFor_.load(std::memory_order_acquire) == callerCore) return;
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<int> cores = coresOf(threadsNotBound());
        if (cores != cores_) {
            // Whoever changed the set moved the workers too: where they are is no longer known.
            cores_ = std::move(cores);
            for (Worker& w : workers_) w.core = -1;
        }
        if (cores_.size() < 2) {
            placedFor_.store(callerCore, std::memory_order_release);  // nothing to place on one core
            return;
        }
        others_.clear();
        bool bound = true;
        for (auto c = cores_.rbegin(); c != cores_.rend(); ++c)
            if (*c != callerCore) others_.push_back(*c);
        for (size_t k = 0; k < workers_.size(); ++k) {
            Worker& w = workers_[k];
            const int target = others_[k % others_.size()];
            if (w.core == target) continue;
            cpu_set_t set;
            CPU_ZERO(&set);
            CPU_SET(target, &set);
            w.core = sched_setaffinity(w.tid, sizeof set, &set) == 0 ? target : -1;
            bound = bound && w.core == target;
        }
        placedFor_.store(bound ? callerCore : kNone, std::memory_order_release);
    }

    // The calling thread and every thread of the process but the workers bound here.
    const std::vector<pid_t>& threadsNotBound() {
        tids_.assign(1, 0);
        if (DIR* tasks = opendir("/proc/self/task")) {
            while (const dirent* entry = readdir(tasks)) {
                const pid_t tid = pid_t(std::atoi(entry->d_name));
                const bool bound = std::any_of(workers_.begin(), workers_.end(),
                                               [&](const Worker& w) { return w.tid == tid && w.core >= 0; });
                if (tid > 0 && !bound) tids_.push_back(tid);
            }
            closedir(tasks);
        }
        return tids_;
    }

    // In a child made by fork: the parent's workers are not this process's threads.
    void forget() {
        new (&mutex_) std::mutex;  // a lock held by another of the parent's threads stays held in the child
        workers_.clear();
        placedFor_.store(kNone, std::memory_order_relaxed);
    }

private:
    std::vector<int> cores_;
    std::vector<pid_t> tids_;  // scratch of placeAwayFrom
    std::mutex mutex_;
    std::vector<Worker> workers_;
    std::vector<int> others_;  // scratch of placeAwayFrom
    static constexpr int kNone = -2;
    std::atomic<int> placedFor_{kNone};  // the caller core every worker is placed away from
};

// Never destroyed: workers may outlive static data. A forked child starts with none.
Registry* const gRegistry = [] {
    auto* made = new Registry;
    pthread_atfork(nullptr, nullptr, [] { gRegistry->forget(); });
    return made;
}();
Registry& registry() { return *gRegistry; }

// Registers this worker thread once, and unregisters it when the thread ends.
struct Membership {
    pid_t tid = 0;
    void join() {
        if (tid) return;
        tid = gettid();
        registry().add(tid);
    }
    ~Membership() {
        if (tid) registry().remove(tid);
    }
};

class WorkerPinning final : public ArenaObserver {
public:
    explicit WorkerPinning(tbb::task_arena& arena) : ArenaObserver(arena) { observe(true); }
    void on_scheduler_entry(bool isWorker) override {
        thread_local Membership membership;
        if (isWorker) membership.join();
    }
    void noteCaller() override { registry().placeAwayFrom(sched_getcpu()); }
};

}  // namespace

ArenaObserver* pinWorkersOf(tbb::task_arena& arena) {
    // Observers are never destroyed: TBB detaches one when its arena goes, which may be after the
    // arena's handle is gone, and frees its own record of the observer only if that is still alive.
    static std::mutex mutex;
    static std::vector<std::unique_ptr<WorkerPinning>>* kept = new std::vector<std::unique_ptr<WorkerPinning>>;
    static const bool wanted = pinningWanted();
    if (!wanted) return nullptr;
    std::lock_guard<std::mutex> lock(mutex);
    kept->push_back(std::make_unique<WorkerPinning>(arena));
    return kept->back().get();
}

}  // namespace vlhost::detail
