// Per-thread scratch buffers for a parallel_for: each thread that takes part gets its own,
// made on first use and freed when the launch ends. A thread that gets none works on the
// caller's shared buffer under one process-wide lock.
#pragma once

#include <cstdint>
#include <mutex>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/cache_aligned_allocator.h>
#include <oneapi/tbb/enumerable_thread_specific.h>

#include "common/parallel_range.hpp"
#include "module/host_interface.hpp"

namespace vfl_conv::parallel::threadlocal {

// Buffers from vxMallocEx and vxFreeEx, which any thread may call; null on exhaustion.
struct ThreadSafeBufferServer {
    static void* allocate(size_t bytes) { return matrix::detail::noninlined::vx_array_api::vxMallocEx(bytes); }
    static void release(void* p) { matrix::detail::noninlined::vx_array_api::vxFreeEx(p); }
};

// The factory: `server` is a word of the caller's, copied into each workspace for the caller's
// own use and not read here; `bytes` the size of each thread's buffer.
template <class Server>
struct WorkspaceServer {
    uint64_t server;
    uint64_t bytes;
};

template <class Server>
struct Workspace {
    explicit Workspace(const WorkspaceServer<Server>& factory) : server(factory.server), buffer(nullptr) {
        buffer = Server::allocate(factory.bytes);
    }
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;
    ~Workspace() {
        if (buffer) Server::release(buffer);
    }
    uint64_t server;
    void* buffer;
};

template <class Server>
using WorkspaceContainer = tbb::enumerable_thread_specific<Workspace<Server>,
                                                           tbb::cache_aligned_allocator<Workspace<Server>>,
                                                           tbb::ets_no_key>;

// The lock of threads that could get no buffer of their own.
std::mutex& workspaceFallbackLock();

template <class Server, class Body>
struct WorkFunctorWithTLS {
    const Body& body;
    WorkspaceContainer<Server>& tls;
    void* sharedBuffer;

    void operator()(const tbb::blocked_range<size_t>& range) const {
        Workspace<Server>& local = tls.local();
        if (local.buffer) {
            body(range, local.buffer);
            return;
        }
        std::lock_guard<std::mutex> guard(workspaceFallbackLock());
        body(range, sharedBuffer);
    }
};

// Runs body(range, buffer) over [begin, end) with a buffer of `bytes` per thread; sharedBuffer
// is the caller's own, of the same size.
template <class Server, class Body>
void launchWithWorkspaces(size_t begin, size_t end, size_t grain, const Body& body, uint64_t server, uint64_t bytes,
                          void* sharedBuffer) {
    if (end - begin <= grain) return body(tbb::blocked_range<size_t>(begin, end), sharedBuffer);
    WorkspaceContainer<Server> tls(WorkspaceServer<Server>{server, bytes});
    vlcommon::runRange(true, tbb::blocked_range<size_t>(begin, end, grain),
                       WorkFunctorWithTLS<Server, Body>{body, tls, sharedBuffer});
}

}  // namespace vfl_conv::parallel::threadlocal
