// The exported entries, the table record and the registration of package functions.
#include <dlfcn.h>

#include <cstring>
#include <regex>

#include "tests/cpp/support.hpp"

using namespace vltest;

namespace {

const char* const kPackageFunctions[] = {
    "veltra.internal.language.versionPlugins.fftwVersionInfo",
    "veltra.internal.math.transform.vldct",
    "veltra.internal.math.transform.vlidct",
    "veltra.internal.math.transform.vldst",
    "veltra.internal.math.transform.vlidst",
    "veltra.internal.math.transform.vldctn",
    "veltra.internal.math.transform.vlidctn",
    "veltra.internal.math.transform.vldstn",
    "veltra.internal.math.transform.vlidstn",
    "veltra.internal.math.stridedConvn",
};

struct RawLibrary {
    void* handle = dlopen(VLMATHDSP_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    template <class F>
    F get(const char* name) const {
        return reinterpret_cast<F>(dlsym(handle, name));
    }
};

}  // namespace

TEST(Frame, TableRecordIsFourWordsAndConstant) {
    RawLibrary lib;
    ASSERT_NE(lib.handle, nullptr) << dlerror();
    auto query = lib.get<const void* (*)()>("QueryVLFcnTable_libvlmathdsp");
    const void* before = query();  // before initialisation too
    uint64_t words[4];
    std::memcpy(words, before, sizeof(words));
    EXPECT_EQ(words[1], 0x6c5c0e51u);
    EXPECT_EQ(words[2], 0x5a796761u);
    EXPECT_EQ(words[3], 16u);
    lib.get<void (*)()>("VLTerminate_libvlmathdsp")();  // has no effect
    EXPECT_EQ(query(), before);
    const vxBuiltin* slots = reinterpret_cast<const vxBuiltin*>(words[0]);
    EXPECT_EQ(slots[9], slots[10]) << "both filter slots hold one function";
    for (int i = 0; i < 16; ++i) EXPECT_NE(slots[i], nullptr);
}

TEST(Frame, VersionRecords) {
    const vlhost::Module& m = module();
    EXPECT_TRUE(std::regex_match(m.version(), std::regex(R"(\d+\.\d+\.\d+\.\d+)"))) << m.version();
    EXPECT_TRUE(std::regex_match(m.buildDate(), std::regex(R"([A-Z][a-z]{2} [ 123]\d \d{4})"))) << m.buildDate();
    EXPECT_EQ(m.relativePath(), "bin\\win64\\libvlmathdsp.dll");
}

// The once flag is per process: CTest runs each test in a process of its own.
TEST(Frame, GuardedRegistrationRunsOnceAndIsRetriedAfterAThrow) {
    RawLibrary lib;
    auto init = lib.get<void (*)()>("VLInitialize_libvlmathdsp");
    auto counts = [] {
        std::vector<size_t> c;
        for (const char* name : kPackageFunctions) c.push_back(vlhost::registrationCount(name));
        return c;
    };
    auto expect = [](size_t firstThree, size_t rest) {
        std::vector<size_t> c(10, rest);
        c[0] = c[1] = c[2] = firstThree;
        return c;
    };
    vlhost::setVcosUsingUSM(false);
    vlhost::failRegistrationAfter(3);  // the fourth function fails the first run
    EXPECT_THROW(init(), foundation::core::except::IMsgIDException);
    EXPECT_EQ(counts(), expect(1, 0));
    init();  // the flag was left unset: the routine runs again
    EXPECT_EQ(counts(), expect(2, 1));
    init();
    EXPECT_EQ(counts(), expect(2, 1));
    vlhost::setVcosUsingUSM(true);  // unguarded: each initialisation registers again
    init();
    init();
    EXPECT_EQ(counts(), expect(4, 3));
}

TEST(Frame, EveryPackageFunctionIsRegisteredUnderItsFullName) {
    module();
    for (const char* name : kPackageFunctions) EXPECT_NE(vlhost::findFunction(name), nullptr) << name;
}

