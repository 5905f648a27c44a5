// The separable passes and the direct route, and the bracket of a region.
#include <cstring>

#include "conv/parallel/separable.hpp"
#include "tests/cpp/support.hpp"

using namespace vfl_conv;

namespace {

template <class T>
std::vector<T> values(size_t n, std::mt19937_64& rng) {
    std::normal_distribution<double> d;
    std::vector<T> v(n);
    for (auto& x : v) x = T(d(rng));
    return v;
}

// Runs one form on C (m by n) with vectors of lengths na, nb, for a shape; returns the result.
template <class T>
std::vector<T> separable(bool direct, size_t m, size_t n, size_t na, size_t nb,
                         vlmathdsp::ShapeKind shape, bool longRows, bool longCols) {
    std::mt19937_64 rng(m * 31 + n);
    static std::vector<T> a, b, C;
    a = values<T>(na, rng), b = values<T>(nb, rng), C = values<T>(m * n, rng);
    C[m + 1] = std::numeric_limits<T>::infinity();
    a[0] = 0;
    SeparableProblem<T, T> p{};
    p.a = a.data(), p.b = b.data(), p.na = na, p.nb = nb, p.C = C.data(), p.mC = m, p.nC = n;
    p.window = makeWindow(shape, m, n, na, nb);
    const size_t width = std::max(p.window.outCols, n);
    std::vector<T> result(p.window.outRows * width);
    p.result = result.data();
    p.ldResult = p.window.outRows;
    p.longRows = longRows, p.longCols = longCols;
    p.firstFlags = {1, 1}, p.secondFlags = {1, 1};
    p.plan();
    if (direct) parallel::separableDirect(p);
    else parallel::runSeparable(p);
    result.resize(p.window.outRows * p.window.outCols);
    return result;
}

}  // namespace

TEST(Separable, PassesAndTheDirectRouteGiveTheSameBits) {
    for (auto shape : {vlmathdsp::SHAPE_FULL, vlmathdsp::SHAPE_SAME, vlmathdsp::SHAPE_VALID})
        for (bool longRows : {false, true})
            for (bool longCols : {false, true})
                for (auto [m, n] : {std::pair<size_t, size_t>{40, 50}, {300, 20}, {9, 300}}) {
                    const auto inPlace = separable<double>(false, m, n, 5, 7, shape, longRows, longCols);
                    const auto direct = separable<double>(true, m, n, 5, 7, shape, longRows, longCols);
                    ASSERT_EQ(inPlace.size(), direct.size());
                    ASSERT_EQ(std::memcmp(inPlace.data(), direct.data(), inPlace.size() * sizeof(double)), 0)
                        << m << "x" << n << " shape " << shape << " rows " << longRows << " cols " << longCols;
                }
}

TEST(ThreadScope, TheBracketClosesWhenTheRegionThrows) {
    const size_t before = vlhost::openParallelRegions();
    try {
        vlmathdsp::ComputationalThreadScope scope;
        EXPECT_EQ(vlhost::openParallelRegions(), before + 1);
        tbb::parallel_for(tbb::blocked_range<size_t>(0, 1000, 1), [](const tbb::blocked_range<size_t>& r) {
            if (r.begin() <= 500 && 500 < r.end()) throw std::runtime_error("task");
        });
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(vlhost::openParallelRegions(), before);
}
