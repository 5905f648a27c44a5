// One parallel_for, or the same body on the caller's thread. Whether a region goes parallel is
// the caller's decision from sizes alone; the body sums nothing across the split, so the two
// give the same bits.
#pragma once

#include <algorithm>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/partitioner.h>
#include <oneapi/tbb/task_group.h>

#include "common/fork_join_notes.hpp"

namespace vlcommon {

// tbb::parallel_for in `context`, its fork and join told to the thread sanitizer.
template <class Range, class Body, class Partitioner>
void notedParallelFor(const Range& range, const Body& body, const Partitioner& partitioner,
                      tbb::task_group_context& context) {
    ForkJoinNotes notes;
    tbb::parallel_for(range, noted<Range>(notes, body), partitioner, context);
    notes.join();
}

// body(range) once when serial; otherwise a parallel_for with the automatic partitioner in a
// fresh context, through which a task's exception reaches the caller.
template <class Range, class Body>
void runRange(bool parallel, const Range& range, const Body& body) {
    if (range.empty()) return;
    if (!parallel) {
        body(range);
        return;
    }
    tbb::task_group_context context;
    notedParallelFor(range, body, tbb::auto_partitioner(), context);
}

// [begin, end) in grains of at least one.
template <class Index, class Body>
void runRange(bool parallel, Index begin, Index end, Index grain, const Body& body) {
    if (begin >= end) return;
    runRange(parallel, tbb::blocked_range<Index>(begin, end, std::max<Index>(grain, 1)), body);
}

// body(i) for each i of [begin, end), in ascending order within a task.
template <class Index, class Body>
void forEachIndex(bool parallel, Index begin, Index end, Index grain, const Body& body) {
    runRange(parallel, begin, end, grain, [&](const tbb::blocked_range<Index>& r) {
        for (Index i = r.begin(); i < r.end(); ++i) body(i);
    });
}

}  // namespace vlcommon
