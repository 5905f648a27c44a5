// The host's thread setting and the arena that each call runs in. Internal to the host.
#pragma once

#include <cstddef>

#include <oneapi/tbb/task_arena.h>

namespace vlhost::detail {

// This thread's arena, sized to the current setting.
tbb::task_arena& callArena();

}  // namespace vlhost::detail
