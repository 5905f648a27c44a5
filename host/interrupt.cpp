// Interruption of calls: a registry of the contexts of interruptible calls in flight.
#include "host/interrupt.hpp"

#include <algorithm>
#include <mutex>
#include <vector>

#include "host/embed.hpp"

namespace vlhost {

namespace {

thread_local int tInterruptible = 0;

std::mutex& registryLock() {
    static std::mutex lock;
    return lock;
}

// Contexts of the calls in flight; an interrupted call's context is cancelled and stays listed
// until its call ends.
std::vector<tbb::task_group_context*>& inFlight() {
    static std::vector<tbb::task_group_context*> contexts;
    return contexts;
}

}  // namespace

InterruptibleCalls::InterruptibleCalls() { ++tInterruptible; }
InterruptibleCalls::~InterruptibleCalls() { --tInterruptible; }

void interruptCalls() {
    std::lock_guard<std::mutex> guard(registryLock());
    for (tbb::task_group_context* context : inFlight()) context->cancel_group_execution();
}

namespace detail {

bool callsInterruptible() { return tInterruptible > 0; }

InterruptibleCall::InterruptibleCall() {
    std::lock_guard<std::mutex> guard(registryLock());
    inFlight().push_back(&context_);
}

InterruptibleCall::~InterruptibleCall() {
    std::lock_guard<std::mutex> guard(registryLock());
    auto& contexts = inFlight();
    contexts.erase(std::find(contexts.begin(), contexts.end(), &context_));
}

}  // namespace detail

}  // namespace vlhost
