// The calls in flight that interruptCalls() cuts short. Internal to the host.
#pragma once

#include <oneapi/tbb/task_group.h>

namespace vlhost::detail {

// Whether this thread is in an InterruptibleCalls scope.
bool callsInterruptible();

// A call of this thread, listed among the calls in flight while it runs.
class InterruptibleCall {
public:
    InterruptibleCall();
    ~InterruptibleCall();
    InterruptibleCall(const InterruptibleCall&) = delete;
    InterruptibleCall& operator=(const InterruptibleCall&) = delete;
    tbb::task_group_context& context() { return context_; }

private:
    // Isolated: the tasks of the call's loops bind to it, not to whatever ran the call.
    tbb::task_group_context context_{tbb::task_group_context::isolated};
};

// Runs `body` as the root task of a context that interruptCalls() cancels when this thread is in
// an InterruptibleCalls scope, plainly otherwise. Inside, tbb::is_current_task_group_canceling()
// tells whether the call was interrupted; a call interrupted early may skip the body.
template <class Body>
void runInterruptibly(const Body& body) {
    if (!callsInterruptible()) return body();
    InterruptibleCall call;
    // The body runs on this thread as a task of the call's context, so the contexts of the
    // parallel loops inside it bind to that one and are cancelled with it.
    tbb::task_group group(call.context());
    group.run_and_wait(body);
}

}  // namespace vlhost::detail
