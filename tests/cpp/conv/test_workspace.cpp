// Per-thread workspaces and their fallback to the shared buffer.
#include <atomic>
#include <set>
#include <thread>

#include "conv/parallel/workspace.hpp"
#include "tests/cpp/support.hpp"

using namespace vfl_conv::parallel::threadlocal;

namespace {

struct Recorder {
    std::atomic<size_t>* items;
    std::atomic<size_t>* onShared;
    void* shared;
    void operator()(const tbb::blocked_range<size_t>& r, void* buffer) const {
        static_cast<volatile char*>(buffer)[0] = 1;  // the buffer is usable
        *items += r.size();
        if (buffer == shared) *onShared += r.size();
    }
};

size_t launch(size_t n, size_t grain, std::atomic<size_t>& onShared) {
    std::atomic<size_t> items{0};
    onShared = 0;
    void* shared = matrix::detail::noninlined::vx_array_api::vxMallocEx(64);
    const long blocks = vlhost::liveByteBlocks();
    tbb::task_arena(4).execute([&] {
        launchWithWorkspaces<ThreadSafeBufferServer>(0, n, grain, Recorder{&items, &onShared, shared}, 7, 64, shared);
    });
    EXPECT_EQ(vlhost::liveByteBlocks(), blocks) << "the launch frees what it made";
    matrix::detail::noninlined::vx_array_api::vxFreeEx(shared);
    return items;
}

}  // namespace

TEST(Workspace, ShortRangesRunOnTheSharedBufferAndLongOnesOnTheirOwn) {
    std::atomic<size_t> onShared{0};
    EXPECT_EQ(launch(8, 8, onShared), 8u);
    EXPECT_EQ(onShared.load(), 8u);
    EXPECT_EQ(launch(0, 0, onShared), 0u);
    EXPECT_EQ(launch(100000, 16, onShared), 100000u);
    EXPECT_EQ(onShared.load(), 0u);
}

TEST(Workspace, ThreadsWithoutABufferShareOneUnderTheLock) {
    std::atomic<size_t> onShared{0};
    vlhost::setMallocExFailAfter(1);  // the shared buffer, and no worker's
    EXPECT_EQ(launch(100000, 16, onShared), 100000u);
    EXPECT_EQ(onShared.load(), 100000u);
    vlhost::setMallocExFailAfter(-1);
}
