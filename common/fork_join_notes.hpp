// The fork and the join of a parallel loop, told to the thread sanitizer. TBB hands tasks over
// in code that is not instrumented, so without these notes the sanitizer would take a task's
// reads of what the caller wrote, and the caller's reads of what the tasks wrote, for races.
// Nothing is left of them in other builds.
#pragma once

#if defined(__SANITIZE_THREAD__)
extern "C" void __tsan_acquire(void* address);
extern "C" void __tsan_release(void* address);
#define VLCOMMON_NOTE(what, address) what(const_cast<void*>(static_cast<const void*>(address)))
#else
#define VLCOMMON_NOTE(what, address) static_cast<void>(address)
#endif

namespace vlcommon {

// The join: every task's end, then the caller after the loop.
class ForkJoinNotes {
public:
    void taskEnds() { VLCOMMON_NOTE(__tsan_release, &join_); }
    void join() { VLCOMMON_NOTE(__tsan_acquire, &join_); }

private:
    char join_ = 0;
};

// A loop body that notes the fork: each copy TBB makes of it (for the first task, and at every
// split, by whichever thread splits) takes its source's publication before reading it and is
// published once written; each task begins by taking its own copy's publication.
template <class Range, class Body>
class Noted {
public:
    Noted(ForkJoinNotes& notes, const Body& body) : notes_(&notes), body_(&body) { VLCOMMON_NOTE(__tsan_release, this); }
    Noted(const Noted& other) : notes_((VLCOMMON_NOTE(__tsan_acquire, &other), other.notes_)), body_(other.body_) {
        VLCOMMON_NOTE(__tsan_release, this);
    }
    Noted& operator=(const Noted&) = delete;

    void operator()(const Range& r) const {
        VLCOMMON_NOTE(__tsan_acquire, this);
        (*body_)(r);
        notes_->taskEnds();
    }

private:
    ForkJoinNotes* notes_;
    const Body* body_;
};

template <class Range, class Body>
Noted<Range, Body> noted(ForkJoinNotes& notes, const Body& body) {
    return Noted<Range, Body>(notes, body);
}

}  // namespace vlcommon

#undef VLCOMMON_NOTE
