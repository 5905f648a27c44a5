// The process-wide fallback lock of the workspaces.
#include "conv/parallel/workspace.hpp"

namespace vfl_conv::parallel::threadlocal {

std::mutex& workspaceFallbackLock() {
    static std::mutex* lock = new std::mutex;  // never destroyed while calls may run
    return *lock;
}

}  // namespace vfl_conv::parallel::threadlocal
