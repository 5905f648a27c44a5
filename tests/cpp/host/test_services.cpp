// The per-scope store, packages, warnings, thread services and the catalogue.
#include <sched.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>

#include "common/parallel_range.hpp"
#include "tests/cpp/support.hpp"

using namespace vltest;
using Store = foundation::usm::Detail<foundation::usm::scope::Vvm>;

namespace {
struct Plans {
    int value;
};
int gDeleted = 0;
foundation::usm::Cell cellOf(int v) {
    return foundation::usm::Cell(new Plans{v}, [](void* p) {
        ++gDeleted;
        delete static_cast<Plans*>(p);
    });
}
}  // namespace

TEST(Store, SlotsAreNumberedOnceAndHeldPerThread) {
    const size_t id = Store::getNextID(typeid(Plans));
    EXPECT_NE(Store::getNextID(typeid(Plans)), id);
    EXPECT_EQ(Store::find(id, typeid(Plans)), nullptr);
    foundation::usm::Cell* first = Store::findOrInsert(id, typeid(Plans), cellOf(1));
    gDeleted = 0;
    {
        foundation::usm::Cell loser = cellOf(2);
        foundation::usm::Cell* second = Store::findOrInsert(id, typeid(Plans), std::move(loser));
        EXPECT_EQ(second, first);
        EXPECT_EQ(static_cast<Plans*>(second->get())->value, 1);
    }
    EXPECT_EQ(gDeleted, 1) << "the cell that lost the race is destroyed by its owner";
    EXPECT_EQ(Store::find(id, typeid(Plans)), first);
    std::thread([&] { EXPECT_EQ(Store::find(id, typeid(Plans)), nullptr); }).join();
    vlhost::clearScopeStore();
    EXPECT_EQ(gDeleted, 2);
    EXPECT_EQ(Store::find(id, typeid(Plans)), nullptr);
}

namespace {
void builtinA(int, vxArray**, int, const vxArray**) {}
void builtinB(int, vxArray**, int, const vxArray**) {}
}  // namespace

TEST(Packages, FunctionsAreFoundByFullName) {
    vcos::COSPackage* root = vcos::omGetGlobalPackage("testroot");
    EXPECT_EQ(vcos::omGetGlobalPackage("testroot"), root);
    vcos::COSPackage* leaf = vcos::omGetSubPackage(vcos::omGetSubPackage(root, "a"), "b");
    leaf->addFunction(vcos::COSNameID("f"), builtinA);
    EXPECT_EQ(vlhost::findFunction("testroot.a.b.f"), &builtinA);
    EXPECT_EQ(vlhost::findFunction("testroot.a.f"), nullptr);
    EXPECT_EQ(vlhost::findFunction("testroot.a.b.g"), nullptr);
    leaf->addFunction(vcos::COSNameID("f"), builtinB);  // a second registration takes the name over
    EXPECT_EQ(vlhost::findFunction("testroot.a.b.f"), &builtinB);
    EXPECT_EQ(vlhost::registrationCount("testroot.a.b.f"), 2u);
    vlhost::failRegistrationAfter(0);
    EXPECT_THROW(leaf->addFunction(vcos::COSNameID("g"), builtinA), foundation::core::except::IMsgIDException);
    EXPECT_EQ(vlhost::findFunction("testroot.a.b.g"), nullptr);
    try {
        vlhost::callFunction("testroot.nothing", 1, {});
        ADD_FAILURE();
    } catch (const vlhost::HostError& e) {
        EXPECT_EQ(e.identifier, "VELTRA:undefinedFunction");
        EXPECT_EQ(e.arguments, std::vector<std::string>{"testroot.nothing"});
    }
}

namespace {
void warnsTwice(int, vxArray** plhs, int, const vxArray**) {
    vxWarningMsgId(resource_core::BaseMsgID{{}, "VELTRA:fftfcn", "WisdomImportFailed"});
    vxWarningMsgId(resource_core::BaseMsgID{{std::string("look")}, "VELTRA:legacy_two_part", "badsubscript"});
    plhs[0] = matrix::detail::noninlined::vx_array_api::vxCreateDoubleMatrix(1, 1, vxREAL);
}
size_t gSeenThreads = 0;
void readsThreads(int, vxArray**, int, const vxArray**) {
    gSeenThreads = services::threading::getNumComputationalThreads();
}
}  // namespace

TEST(Calls, WarningsArriveWithTheResultInOrder) {
    Outputs out = run(warnsTwice, 1, {});
    ASSERT_EQ(out.warnings.size(), 2u);
    EXPECT_EQ(out.warnings[0].identifier, "VELTRA:fftfcn:WisdomImportFailed");
    EXPECT_EQ(out.warnings[0].message, vlhost::catalogueText("VELTRA:fftfcn", "WisdomImportFailed"));
    EXPECT_EQ(out.warnings[1].message, "look");
    EXPECT_EQ(run(warnsTwice, 1, {}).warnings.size(), 2u) << "warnings belong to one call";
}

TEST(Calls, ThreadSettingReachesBuiltinsAndBracketsNest) {
    vlhost::setNumThreads(3);
    run(readsThreads, 0, {});
    EXPECT_EQ(gSeenThreads, 3u);
    vlhost::setNumThreads(1);
    run(readsThreads, 0, {});
    EXPECT_EQ(gSeenThreads, 1u);
    ompwrapper::setNumThreads(false, 1);
    ompwrapper::setNumThreads(true, 1);
    ompwrapper::setNumThreads(true, 1);  // an unmatched close does no harm
    vlhost::setNumThreads(2);
}

TEST(Calls, ManyThreadsCallAtOnceWithTheirOwnFrames) {
    const long before = vlhost::liveArrays();
    std::vector<std::thread> pool;
    std::atomic<int> failures{0};
    for (int t = 0; t < 8; ++t)
        pool.emplace_back([&] {
            for (int i = 0; i < 200; ++i)
                if (run(warnsTwice, 1, {}).warnings.size() != 2) ++failures;
        });
    for (auto& th : pool) th.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(vlhost::liveArrays(), before);
}

namespace {
// The cores a thread may run on.
std::vector<int> coresOf(pid_t tid) {
    cpu_set_t set;
    CPU_ZERO(&set);
    std::vector<int> cores;
    if (sched_getaffinity(tid, sizeof set, &set) == 0)
        for (int c = 0; c < CPU_SETSIZE; ++c)
            if (CPU_ISSET(c, &set)) cores.push_back(c);
    return cores;
}
void bindTo(int core) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(core, &set);
    ASSERT_EQ(sched_setaffinity(0, sizeof set, &set), 0);
}
std::vector<int> gWorkerCores;
// Two tasks that wait for each other, so that a worker must run one; it records its cores.
void meetsAWorker(int, vxArray**, int, const vxArray**) {
    std::atomic<int> arrived{0};
    gWorkerCores.clear();
    auto body = [&](const tbb::blocked_range<int>&) {
        ++arrived;
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        while (arrived.load() < 2 && std::chrono::steady_clock::now() < until) std::this_thread::yield();
        if (tbb::this_task_arena::current_thread_index() != 0) gWorkerCores = coresOf(0);
    };
    tbb::task_group_context context;  // the loop told to the thread sanitizer, as the library's are
    vlcommon::notedParallelFor(tbb::blocked_range<int>(0, 2, 1), body, tbb::simple_partitioner(), context);
}
}  // namespace

TEST(Calls, WorkersKeepOffTheCallersCore) {
    const std::vector<int> allowed = coresOf(0);
    if (allowed.size() < 2) GTEST_SKIP() << "one core";
    vlhost::setNumThreads(2);
    run(meetsAWorker, 0, {});  // TBB starts its workers while this thread may use every core
    for (int core : {allowed.front(), allowed.back(), allowed.front()}) {
        bindTo(core);
        run(meetsAWorker, 0, {});
        ASSERT_EQ(gWorkerCores.size(), 1u) << "the worker is bound to one core";
        EXPECT_NE(gWorkerCores[0], core);
    }
    cpu_set_t all;
    CPU_ZERO(&all);
    for (int c : allowed) CPU_SET(c, &all);
    sched_setaffinity(0, sizeof all, &all);
}
