// Interrupting calls in flight: skipped tasks, reclaimed arrays, and calls out of reach.
#include <atomic>
#include <chrono>
#include <thread>

#include <oneapi/tbb/parallel_for.h>

#include "tests/cpp/support.hpp"

using namespace vltest;

namespace {

constexpr int kTasks = 4000;
std::atomic<int> gDone{0};
std::atomic<bool> gStarted{false};

// Makes an output and a scratch array, then runs kTasks tasks of about a millisecond each in a
// loop of its own context, as the library's loops do.
void slowLoop(int, vxArray** plhs, int, const vxArray**) {
    plhs[0] = matrix::detail::noninlined::vx_array_api::vxCreateDoubleMatrix(1000, 1000, vxREAL);
    matrix::detail::noninlined::vx_array_api::vxCreateDoubleMatrix(100, 100, vxREAL);
    gStarted = true;
    tbb::task_group_context loop;
    tbb::parallel_for(0, kTasks, [](int) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ++gDone;
    }, tbb::simple_partitioner(), loop);
}

// Runs slowLoop with an interruptCalls() from another thread once the loop has begun.
std::string interruptedRun(bool interruptible) {
    gDone = 0;
    gStarted = false;
    std::thread interrupter([] {
        while (!gStarted) std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        vlhost::interruptCalls();
    });
    std::string identifier;
    {
        std::optional<vlhost::InterruptibleCalls> scope;
        if (interruptible) scope.emplace();
        identifier = errorOf(slowLoop, 1, {});
    }
    interrupter.join();
    return identifier;
}

}  // namespace

TEST(Interrupt, SkipsTheRemainingTasksAndReclaimsTheCallsArrays) {
    vlhost::setNumThreads(2);
    const long arrays = vlhost::liveArrays();
    EXPECT_EQ(interruptedRun(true), "VELTRA:interrupted");
    EXPECT_LT(gDone.load(), kTasks / 4);
    EXPECT_EQ(vlhost::liveArrays(), arrays);
    EXPECT_EQ(vlhost::catalogueText("VELTRA", "interrupted"), "The call was interrupted.");

    // The next call in the same scope runs whole.
    vlhost::InterruptibleCalls scope;
    gDone = 0;
    Outputs out = run(slowLoop, 1, {});
    EXPECT_EQ(gDone.load(), kTasks);
    ASSERT_TRUE(out.arrays[0]);
    EXPECT_EQ(vlhost::dimensions(out.arrays[0].get()), (std::vector<size_t>{1000, 1000}));
}

TEST(Interrupt, ReachesOnlyTheCallsOfThreadsInAScope) {
    EXPECT_EQ(interruptedRun(false), "");
    EXPECT_EQ(gDone.load(), kTasks);
}
