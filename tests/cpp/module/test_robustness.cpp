// Bad input never crashes: every slot and package function, argument lists of assorted classes
// and counts, gives a result or an identifier, and leaves nothing allocated.
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
    ASSERT_EQ(builtins.size(), 26u);

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
