// Many host threads calling every family at once, at their own thread counts, with the planner
// and wisdom commands in between: each result has the bits of the same call made alone. Under
// the thread sanitizer (scripts/tsan.sh) this is also the race hunt.
#include <atomic>
#include <functional>
#include <random>
#include <string>
#include <thread>

#include "tests/cpp/support.hpp"

using namespace vltest;

namespace {

std::string bitsOf(const Outputs& out) {
    std::string bits;
    for (const Array& a : out.arrays) {
        size_t count = 1;
        for (size_t d : vlhost::dimensions(a.get())) count *= d;
        bits.append(static_cast<const char*>(a->data),
                    count * matrix::detail::noninlined::vx_array_api::vxGetElementSize(a.get()));
    }
    return bits;
}

Array text(const char* s) {
    std::u16string t;
    for (; *s; ++s) t.push_back(char16_t(*s));
    return Array(vlhost::createChar(t));
}

struct Case {
    std::function<Outputs()> call;
    std::string alone;
};

}  // namespace

TEST(Concurrency, EveryFamilyAtOnceGivesTheBitsOfEachCallAlone) {
    const vlhost::Module& m = module();
    std::mt19937_64 rng(21);
    Array image = doubles({96, 80}, randomDoubles(96 * 80, rng)), kernel = doubles({5, 7}, randomDoubles(35, rng));
    Array volume = doubles({20, 18, 16}, randomDoubles(20 * 18 * 16, rng)), small = doubles({3, 3, 3}, randomDoubles(27, rng));
    Array columns = doubles({300, 6}, randomDoubles(1800, rng)), same = text("same");
    Array b = doubles({1, 3}, {0.2, 0.3, 0.2}), a = doubles({1, 2}, {1.0, -0.4});
    Array layer = fromValues<float>({12, 12, 4, 2}, std::vector<float>(1152, 0.5f), VX_SINGLE_CLASS);
    Array filters = fromValues<float>({3, 3, 4, 5}, std::vector<float>(180, 0.25f), VX_SINGLE_CLASS);
    Array pad = doubles({1, 4}, {1, 1, 1, 1}), stride = doubles({1, 2}, {1, 1}), window = doubles({1, 2}, {2, 2});
    Array A = doubles({4, 4}, randomDoubles(16, rng)), B = doubles({4, 1}, randomDoubles(4, rng));
    Array x = doubles({200, 1}, randomDoubles(200, rng)), x0 = doubles({4, 1}, randomDoubles(4, rng));
    for (size_t i = 0; i < 16; ++i) static_cast<double*>(A->data)[i] *= 0.2;
    vxBuiltin dct = vlhost::findFunction("veltra.internal.math.transform.vldct");
    std::vector<Case> cases = {
        {[&] { return run(m.slot(2), 1, {image.get(), kernel.get(), same.get()}); }, ""},
        {[&] { return run(m.slot(3), 1, {volume.get(), small.get(), same.get()}); }, ""},
        {[&] { return run(m.slot(4), 1, {columns.get()}); }, ""},
        {[&] { return run(m.slot(6), 1, {volume.get()}); }, ""},
        {[&] { return run(dct, 1, {columns.get()}); }, ""},
        {[&] { return run(m.slot(9), 1, {b.get(), a.get(), columns.get()}); }, ""},
        {[&] { return run(m.slot(11), 1, {A.get(), B.get(), x.get(), x0.get()}); }, ""},
        {[&] { return run(m.slot(0), 1, {layer.get(), filters.get(), pad.get(), stride.get()}); }, ""},
        {[&] { return run(m.slot(12), 1, {layer.get(), window.get(), pad.get(), stride.get()}); }, ""},
    };
    vlhost::setNumThreads(1);
    for (size_t k = 0; k < cases.size(); ++k) {
        try {
            cases[k].alone = bitsOf(cases[k].call());
        } catch (const vlhost::HostError& e) {
            FAIL() << "case " << k << ": " << e.identifier;
        }
    }

    vlhost::setNumThreads(2);
    Array wisdom = text("wisdom");
    std::atomic<int> differing{0}, failed{0};
    std::vector<std::thread> callers;
    for (int t = 0; t < 6; ++t)
        callers.emplace_back([&, t] {
            vlhost::setThreadNumThreads(size_t(1 + t % 4));
            for (int round = 0; round < 10; ++round)
                for (size_t k = 0; k < cases.size(); ++k) {
                    const Case& c = cases[(k + size_t(t)) % cases.size()];
                    try {
                        const Outputs out = c.call();
                        if (out.arrays.empty() || bitsOf(out) != c.alone) ++differing;
                        if (t == 0) run(m.slot(8), 1, {wisdom.get()});
                    } catch (const vlhost::HostError&) {
                        ++failed;
                    }
                }
            vlhost::setThreadNumThreads(0);
        });
    for (auto& c : callers) c.join();
    EXPECT_EQ(differing.load(), 0);
    EXPECT_EQ(failed.load(), 0);
}
