// Thread services: the computational thread count, the arenas, and BLAS's own threads.
#include "host/threads.hpp"

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>

#include "host/embed.hpp"

extern "C" void openblas_set_num_threads(int);
extern "C" int openblas_get_num_threads(void);
extern "C" void* blas_memory_alloc(int);
extern "C" void blas_memory_free(void*);

namespace vlhost {

namespace {
// Read once: the C library finds it in a file at every ask.
size_t hardwareThreads() {
    static const size_t count = [] {
        const unsigned n = std::thread::hardware_concurrency();
        return n ? std::min<size_t>(n, kMaxThreads) : size_t(1);
    }();
    return count;
}
std::atomic<size_t> gThreads{hardwareThreads()};
thread_local size_t tThreads = 0;  // this thread's own count, 0 for none
std::mutex gBlasMutex;
// BLAS starts a thread, with its buffers, per count it is given: never more than there are cores.
int blasThreads(size_t count) { return static_cast<int>(std::min(count, hardwareThreads())); }
// BLAS's count is set only when it differs (others may set it too).
void setBlasThreads(int count) {
    if (openblas_get_num_threads() != count) openblas_set_num_threads(count);
}
size_t gOpenRegions = 0;  // parallel regions open in the process, under gBlasMutex
}  // namespace

void setNumThreads(size_t count) {
    if (count < 1 || count > kMaxThreads) throw hostError("threadCount", std::to_string(kMaxThreads));
    gThreads = count;
    std::lock_guard<std::mutex> lock(gBlasMutex);
    if (gOpenRegions == 0) setBlasThreads(blasThreads(count));
}

void setThreadNumThreads(size_t count) {
    if (count > kMaxThreads) throw hostError("threadCount", std::to_string(kMaxThreads));
    tThreads = count;
}

size_t numThreads() { return tThreads ? tThreads : gThreads.load(); }

size_t openParallelRegions() {
    std::lock_guard<std::mutex> lock(gBlasMutex);
    return gOpenRegions;
}

}  // namespace vlhost

namespace vlhost::detail {

void reserveBlasBuffers() {
    // OpenBLAS takes a work buffer from its pool for each call of a product, and when none is free
    // it maps a new one, retrying for ever while the address space is full (a call under a memory
    // ceiling never returned). One buffer for each thread that may run a product at once (the
    // workers and a caller) is mapped here, before any call depends on it; they stay in the pool.
    // Mapping is address space only: no page is touched. Where the ceiling leaves no room for them
    // (some 200 MiB each), nothing is mapped, and a product maps its buffer as before.
    static std::once_flag once;
    std::call_once(once, [] {
        const size_t count = tbbCores() + 1;
        constexpr size_t kBufferSpan = size_t(256) << 20;
        rlimit limit{};
        if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY) {
            size_t pages = 0;
            if (FILE* statm = std::fopen("/proc/self/statm", "r")) {
                if (std::fscanf(statm, "%zu", &pages) != 1) pages = 0;
                std::fclose(statm);
            }
            const size_t used = pages * size_t(sysconf(_SC_PAGESIZE));
            if (used >= limit.rlim_cur || limit.rlim_cur - used < count * kBufferSpan) return;
        }
        std::vector<void*> held;
        for (size_t k = 0; k < count; ++k) held.push_back(blas_memory_alloc(0));
        for (void* buffer : held) blas_memory_free(buffer);
    });
}

tbb::task_arena& callArena() {
    // One arena per host thread: its calling thread always has a slot of its own.
    struct Slot {
        std::unique_ptr<tbb::task_arena> arena;
        ArenaObserver* pinning = nullptr;
        size_t threads = 0;
    };
    thread_local Slot slot;
    // TBB never runs more workers than the machine has cores; a larger arena only costs slots.
    static const size_t cores = tbbCores();
    const size_t want = std::min(numThreads(), cores);
    if (!slot.arena || slot.threads != want) {
        slot.arena = std::make_unique<tbb::task_arena>(static_cast<int>(want));
        slot.arena->initialize();
        slot.pinning = pinWorkersOf(*slot.arena);
        slot.threads = want;
    }
    if (slot.pinning) slot.pinning->noteCaller();
    return *slot.arena;
}

}  // namespace vlhost::detail

namespace services::threading {
size_t getNumComputationalThreads() { return vlhost::numThreads(); }
}  // namespace services::threading

namespace ompwrapper {

// BLAS runs single-threaded while any parallel region is open: its callers are then TBB tasks.
void setNumThreads(bool leaving, size_t) {
    std::lock_guard<std::mutex> lock(vlhost::gBlasMutex);
    if (!leaving) {
        if (vlhost::gOpenRegions++ == 0) vlhost::setBlasThreads(1);
    } else if (vlhost::gOpenRegions > 0 && --vlhost::gOpenRegions == 0) {
        vlhost::setBlasThreads(vlhost::blasThreads(vlhost::numThreads()));
    }
}

}  // namespace ompwrapper
