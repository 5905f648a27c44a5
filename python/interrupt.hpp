// Ctrl-C during a long call from Python's main thread.
#pragma once

#include <optional>

#include "host/embed.hpp"

namespace vlpy {

// For its lifetime, a SIGINT handler of ours stands in front of Python's: it wakes a watcher
// thread that interrupts this thread's call, and passes the signal on, so that Python raises
// KeyboardInterrupt once the call is back. Python's handler is restored on destruction. Does
// nothing unless `wanted`, on the main thread, while Python handles SIGINT. Made with the GIL.
class SigintWatch {
public:
    explicit SigintWatch(bool wanted);
    ~SigintWatch();
    SigintWatch(const SigintWatch&) = delete;
    SigintWatch& operator=(const SigintWatch&) = delete;

private:
    bool active_ = false;
    std::optional<vlhost::InterruptibleCalls> interruptible_;
};

// Called at load, from Python: the thread Python delivers KeyboardInterrupt to.
void noteMainThread(unsigned long ident);

}  // namespace vlpy
