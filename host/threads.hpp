// The host's thread setting and the arena that each call runs in. Internal to the host.
#pragma once

#include <cstddef>
#include <memory>

#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_scheduler_observer.h>

#include "common/parallel_range.hpp"

namespace vlhost::detail {

// The cores TBB runs workers on: the process's, whichever thread asked first.
size_t tbbCores();

// The BLAS's work buffers for every thread that may run a product at once, made once.
void reserveBlasBuffers();

// A parallel_for over [0, count) that an interrupted call never cuts short: the host's loops
// make what the call frame walks later (zeroed blocks of handles, copies of cells).
template <class Body>
void runWhole(size_t count, const Body& body) {
    tbb::task_group_context whole(tbb::task_group_context::isolated);
    vlcommon::notedParallelFor(tbb::blocked_range<size_t>(0, count), body, tbb::auto_partitioner(), whole);
}

// This thread's arena, sized to the current setting, made ready for a call from this thread.
tbb::task_arena& callArena();

// Watches the workers that join an arena; told of each call its thread makes.
class ArenaObserver : public tbb::task_scheduler_observer {
public:
    using tbb::task_scheduler_observer::task_scheduler_observer;
    virtual void noteCaller() = 0;
};

// Keeps the workers that join `arena` off the calling thread's core; null when turned off. The
// observer lives as long as the process.
ArenaObserver* pinWorkersOf(tbb::task_arena& arena);

}  // namespace vlhost::detail
