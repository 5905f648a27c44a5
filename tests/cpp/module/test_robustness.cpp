// Bad input never crashes: every slot and package function, argument lists of assorted classes
// and counts, gives a result or an identifier, and leaves nothing allocated.
#include <cmath>
#include <functional>
#include <limits>

#include "tests/cpp/support.hpp"

using namespace vltest;

namespace {

std::vector<Array> assortedArrays() {
    std::vector<Array> v;
    v.push_back(numeric({0, 0}));
    v.push_back(doubles({1, 1}, {2}));
    v.push_back(doubles({2, 2}, {1, 2, 3, 4}));
    v.push_back(numeric({3, 1, 2}, VX_SINGLE_CLASS, true));
    v.push_back(numeric({2, 2}, VX_INT8_CLASS));
    v.push_back(numeric({1, 3}, VX_LOGICAL_CLASS));
    v.emplace_back(vlhost::createChar(u"same"));
    v.emplace_back(vlhost::createStringArray({1, 1}, {std::nullopt}));
    v.emplace_back(vlhost::createSparse(2, 2, VX_DOUBLE_CLASS, false, {0}, {0, 1, 1}, std::vector<double>{1}.data()));
    v.emplace_back(vlhost::createCell({1, 1}, {vlhost::createNumeric({1, 1}, VX_DOUBLE_CLASS, false)}));
    v.emplace_back(vlhost::createStruct({1, 1}, {"f"}, {vlhost::createNumeric({1, 1}, VX_DOUBLE_CLASS, false)}));
    v.emplace_back(vlhost::createFunctionHandle("sin"));
    return v;
}

}  // namespace

TEST(Robustness, EveryBuiltinAnswersAssortedArgumentsWithAResultOrAnIdentifier) {
    const vlhost::Module& m = module();
    std::vector<vxBuiltin> builtins;
    for (size_t s = 0; s < m.slotCount(); ++s) builtins.push_back(m.slot(s));
    for (const std::string& name : vlhost::packageFunctionNames())
        if (name.rfind("veltra.", 0) == 0) builtins.push_back(vlhost::findFunction(name));
    ASSERT_EQ(builtins.size(), 27u);

    const std::vector<Array> pool = assortedArrays();
    const long arrays = vlhost::liveArrays(), blocks = vlhost::liveByteBlocks();
    std::mt19937_64 rng(11);
    size_t errors = 0, results = 0;
    for (vxBuiltin fn : builtins)
        for (int count = 0; count <= 7; ++count)
            for (int trial = 0; trial < 12; ++trial) {
                std::vector<const vxArray*> args;
                for (int i = 0; i < count; ++i) args.push_back(pool[rng() % pool.size()].get());
                const int nlhs = int(rng() % 3);
                try {
                    run(fn, nlhs, args);
                    ++results;
                } catch (const vlhost::HostError& e) {
                    EXPECT_EQ(e.identifier.rfind("VELTRA:", 0), 0u) << e.identifier;
                    EXPECT_NE(e.identifier, "VELTRA:internal") << e.what();
                    ++errors;
                }
            }
    EXPECT_GT(errors, 0u);
    EXPECT_EQ(vlhost::liveArrays(), arrays);
    EXPECT_EQ(vlhost::liveByteBlocks(), blocks);
}

namespace {

constexpr size_t kHalf = size_t(1) << 32;

}  // namespace

TEST(Limits, ShapesWhoseSizeOverflowsAreRefusedNotWrapped) {
    const long arrays = vlhost::liveArrays(), blocks = vlhost::liveByteBlocks();
    // Element counts that wrap to 0 or to a small number, and byte sizes past PTRDIFF_MAX.
    for (const std::vector<size_t>& dims : std::vector<std::vector<size_t>>{
             {kHalf, kHalf}, {3, kHalf, kHalf}, {1, size_t(1) << 62, 4}, {size_t(1) << 60, 1}, {SIZE_MAX, 2}})
        EXPECT_EQ(identifierOf([&] { numeric(dims); }), "VELTRA:sizeLimit") << dims[0] << "x" << dims[1];
    EXPECT_EQ(identifierOf([&] { numeric({size_t(1) << 59, 1}, VX_DOUBLE_CLASS, true); }), "VELTRA:sizeLimit");
    // An empty array's other sides must fit as well, as in NumPy.
    EXPECT_EQ(identifierOf([&] { numeric({0, size_t(1) << 62}); }), "VELTRA:sizeLimit");
    EXPECT_EQ(numeric({0, size_t(PTRDIFF_MAX)}, VX_LOGICAL_CLASS)->get_number_of_elements(), 0u);
    EXPECT_EQ(vlhost::liveArrays(), arrays);
    EXPECT_EQ(vlhost::liveByteBlocks(), blocks);
}

TEST(Limits, BuiltinsAnswerOverflowingSizesWithAnIdentifier) {
    const vlhost::Module& m = module();
    Array x = doubles({2, 2}, {1, 2, 3, 4});
    Array huge = doubles({1, 2}, {double(kHalf), double(kHalf)});
    Array length = doubles({1, 1}, {std::ldexp(1.0, 62)}), dim = doubles({1, 1}, {4});
    Array flags = numeric({1, 300}, VX_LOGICAL_CLASS);
    Array tall = numeric({0, size_t(1) << 59}), column = numeric({32, 1});
    Array flagsWide = numeric({0, size_t(1) << 62}, VX_LOGICAL_CLASS);
    const long arrays = vlhost::liveArrays(), blocks = vlhost::liveByteBlocks();
    EXPECT_EQ(errorOf(m.slot(6), 1, {x.get(), huge.get()}), "VELTRA:sizeLimit");  // fftn
    EXPECT_EQ(errorOf(m.slot(5), 1, {flags.get(), length.get(), dim.get()}), "VELTRA:sizeLimit");  // ifft
    EXPECT_EQ(errorOf(m.slot(2), 1, {tall.get(), column.get()}), "VELTRA:sizeLimit");
    // Empty, but as double no longer an array NumPy could hold.
    EXPECT_EQ(errorOf(m.slot(9), 1, {column.get(), column.get(), flagsWide.get()}), "VELTRA:sizeLimit");
    EXPECT_EQ(vlhost::liveArrays(), arrays);
    EXPECT_EQ(vlhost::liveByteBlocks(), blocks);
}

TEST(Limits, DimensionBoundOfTheEmbedder) {
    vlhost::setMaxDimensions(3);
    EXPECT_EQ(identifierOf([] { numeric({2, 1, 1, 2}); }), "VELTRA:dimensionLimit");
    EXPECT_EQ(numeric({2, 2, 2, 1, 1})->numDims, 3u);  // trailing singletons are dropped first
    Array x = doubles({1, 1}, {1}), siz = doubles({1, 4}, {2, 1, 1, 2});
    EXPECT_EQ(errorOf(module().slot(6), 1, {x.get(), siz.get()}), "VELTRA:dimensionLimit");
    vlhost::setMaxDimensions(0);
    EXPECT_EQ(numeric({2, 1, 1, 2})->numDims, 4u);
}

TEST(Limits, ThreadOutputAndSlotCounts) {
    const size_t before = vlhost::numThreads();
    for (size_t bad : {size_t(0), vlhost::kMaxThreads + 1, size_t(1) << 31, SIZE_MAX})
        EXPECT_EQ(identifierOf([&] { vlhost::setNumThreads(bad); }), "VELTRA:threadCount") << bad;
    EXPECT_EQ(vlhost::numThreads(), before);
    vlhost::setNumThreads(vlhost::kMaxThreads);
    Array a = doubles({3, 3}, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    EXPECT_EQ(run(module().slot(2), 1, {a.get(), a.get()}).arrays[0]->get_number_of_elements(), 25u);
    vlhost::setNumThreads(before);

    for (int nlhs : {-1, vlhost::kMaxOutputs + 1, std::numeric_limits<int>::max()})
        EXPECT_EQ(errorOf(module().slot(4), nlhs, {a.get()}), "VELTRA:outputCount") << nlhs;
    EXPECT_EQ(identifierOf([] { module().slot(16); }), "VELTRA:noSuchSlot");
}
