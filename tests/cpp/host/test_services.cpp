// The per-scope store, packages, warnings, thread services and the catalogue.
#include <thread>

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
