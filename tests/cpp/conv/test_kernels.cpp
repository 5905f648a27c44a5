// The convolution kernels: plans against brute force, kinds against a reference, and the
// property that makes results independent of the thread count: a range computed in pieces
// gives the bits of the range computed whole.
#include <algorithm>
#include <cstring>
#include <map>
#include <tuple>

#include "conv/kernels/axpy.hpp"
#include "conv/kernels/conv_op.hpp"
#include "conv/kernels/dim_plan.hpp"
#include "conv/kernels/walk2d.hpp"
#include "tests/cpp/support.hpp"

using namespace vfl_conv;
using Triple = std::tuple<size_t, size_t, size_t>;  // output, first, second

namespace {

std::vector<Triple> planTriples(size_t lo, size_t hi, size_t m, size_t k, int32_t order) {
    ConvDimPlan plan;
    buildDimPlan(plan, lo, hi, {1, 1, 1}, m, k, order);
    std::vector<Triple> got;
    walkDimPlan(plan, [&](int64_t o, int64_t f, int64_t s, uint64_t run) {
        for (uint64_t r = 0; r < run; ++r) {
            if (order == ORDER_TAPS) got.emplace_back(lo + o + r, f + r, s);
            else got.emplace_back(lo + o, f + r, s + run - 1 - r);
        }
    });
    return got;
}

}  // namespace

TEST(DimPlan, BothOrdersVisitEveryPairOnceInTheirOrder) {
    for (size_t m = 1; m <= 9; ++m)
        for (size_t k = 1; k <= 9; ++k)
            for (size_t lo = 0; lo < m + k - 1; ++lo)
                for (size_t hi = lo; hi <= m + k - 1; ++hi) {
                    std::vector<Triple> expected;
                    for (size_t o = lo; o < hi; ++o)
                        for (size_t i = 0; i < m; ++i)
                            if (o >= i && o - i < k) expected.emplace_back(o, i, o - i);
                    auto taps = planTriples(lo, hi, m, k, ORDER_TAPS);
                    auto outputs = planTriples(lo, hi, m, k, ORDER_OUTPUTS);
                    // Output-major: outputs ascending, first operand ascending within one.
                    ASSERT_EQ(outputs, expected) << "m=" << m << " k=" << k << " [" << lo << "," << hi << ")";
                    // Tap-major: taps ascending, each tap one contiguous run.
                    ASSERT_TRUE(std::is_sorted(taps.begin(), taps.end(), [](const Triple& a, const Triple& b) {
                        return std::get<2>(a) < std::get<2>(b);
                    }));
                    std::sort(taps.begin(), taps.end());
                    ASSERT_EQ(taps, expected) << "m=" << m << " k=" << k << " [" << lo << "," << hi << ")";
                }
}

TEST(Axpy, ZeroTapsAreSkippedOnlyOnLongRunsWithoutKeepZeros) {
    const double inf = std::numeric_limits<double>::infinity();
    for (size_t n : {5, 16, 17, 100}) {
        for (uint8_t keep : {0, 1}) {
            std::vector<double> x(n, 1.0), y(n, 0.0);
            x[n / 2] = inf;
            const double zero = 0.0;
            axpy(ConvFlags{keep, 1}, y.data(), 1, x.data(), 1, &zero, n);
            const bool nan = std::isnan(y[n / 2]);
            EXPECT_EQ(nan, n <= kAxpyShortRun || keep) << n << " keep " << int(keep);
            const double negativeZero = -0.0, notANumber = std::nan("");
            std::vector<double> z(n, 2.0);
            axpy(ConvFlags{keep, 0}, z.data(), 1, x.data(), 1, &negativeZero, n);
            EXPECT_EQ(z[0], 2.0);
            axpy(ConvFlags{keep, 1}, z.data(), 1, x.data(), 1, &notANumber, n);
            EXPECT_TRUE(std::isnan(z[0])) << "a NaN tap is never skipped";
        }
    }
}

namespace {

template <class T>
T randomValue(std::mt19937_64& rng) {
    std::normal_distribution<double> d;
    if constexpr (IsComplex<T>::value) return T(Real<T>(d(rng)), Real<T>(d(rng)));
    else return T(d(rng));
}

template <class T>
std::vector<T> randomRun(size_t n, std::mt19937_64& rng) {
    std::vector<T> v(n);
    for (auto& x : v) x = randomValue<T>(rng);
    return v;
}

// The same output range in one piece and in random pieces; then against a long double sum.
template <class F, class S, int Kind>
void checkKind(size_t n1, size_t n2, std::mt19937_64& rng) {
    using Out = OutputOf<F, S>;
    const auto f = randomRun<F>(n1, rng);
    const auto g = randomRun<S>(n2, rng);
    const size_t total = n1 + n2 - 1, begin = rng() % (total / 3 + 1), end = total - rng() % (total / 3 + 1);
    const ConvFlags flags{0, 1};
    std::vector<Out> whole(total), pieces(total);
    VELTRAConvOp<F, S, Kind>()(flags, whole.data() + begin, begin, end, 1, f.data(), n1, 1, g.data(), n2, 1);
    for (size_t b = begin; b < end;) {
        const size_t e = std::min(end, b + 1 + rng() % 40);
        VELTRAConvOp<F, S, Kind>()(flags, pieces.data() + b, b, e, 1, f.data(), n1, 1, g.data(), n2, 1);
        b = e;
    }
    for (size_t o = 0; o < total; ++o)
        ASSERT_EQ(std::memcmp(&whole[o], &pieces[o], sizeof(Out)), 0)
            << "kind " << Kind << " " << typeid(F).name() << "," << typeid(S).name() << " n1=" << n1 << " n2=" << n2
            << " at " << o << " of [" << begin << "," << end << ")";
    const double eps = std::is_same_v<Real<Out>, float> ? 1e-6 : 1e-14;
    for (size_t o = 0; o < total; ++o) {
        std::complex<long double> ref = 0;
        if (o >= begin && o < end)
            for (size_t t = 0; t < n2; ++t)
                if (o >= t && o - t < n1)
                    ref += std::complex<long double>(std::complex<double>(f[o - t])) *
                           std::complex<long double>(std::complex<double>(g[t]));
        const std::complex<double> got(whole[o]);
        ASSERT_NEAR(std::abs(got - std::complex<double>(ref)), 0.0, eps * 10 * std::sqrt(double(n2)))
            << "kind " << Kind << " n1=" << n1 << " n2=" << n2 << " o=" << o;
    }
}

template <class F, class S>
void checkAllKinds(std::mt19937_64& rng) {
    for (auto [n1, n2] : {std::pair<size_t, size_t>{200, 7}, {50, 50}, {9, 130}, {1, 1}, {333, 64}, {17, 16}}) {
        checkKind<F, S, KIND_AXPY>(n1, n2, rng);
        checkKind<F, S, KIND_DOT>(n1, n2, rng);
        checkKind<F, S, KIND_PHASED>(n1, n2, rng);
    }
}

}  // namespace

TEST(ConvOp, EveryPairAndKindMatchesTheReferenceAndIgnoresTheSplit) {
    std::mt19937_64 rng(3);
    using cf = std::complex<float>;
    using cd = std::complex<double>;
    checkAllKinds<float, float>(rng), checkAllKinds<float, double>(rng);
    checkAllKinds<double, float>(rng), checkAllKinds<double, double>(rng);
    checkAllKinds<cf, float>(rng), checkAllKinds<float, cf>(rng), checkAllKinds<cf, cf>(rng);
    checkAllKinds<cd, double>(rng), checkAllKinds<double, cd>(rng), checkAllKinds<cd, cd>(rng);
    checkAllKinds<cf, cd>(rng), checkAllKinds<cd, cf>(rng), checkAllKinds<cf, double>(rng);
    checkAllKinds<double, cf>(rng), checkAllKinds<cd, float>(rng), checkAllKinds<float, cd>(rng);
}

TEST(ConvOp, KindsOneAndThreeGiveTheSameBits) {
    std::mt19937_64 rng(5);
    for (size_t n2 : {3, 16, 64}) {
        const size_t n1 = 2 * n2 + 1 + rng() % 200;  // around the 2 * n2 limit of the phased region
        const auto f = randomRun<double>(n1, rng), g = randomRun<double>(n2, rng);
        std::vector<double> one(n1 + n2 - 1), three(n1 + n2 - 1);
        const ConvFlags flags{0, 1};
        VELTRAConvOp<double, double, KIND_DOT>()(flags, one.data(), 0, one.size(), 1, f.data(), n1, 1, g.data(), n2, 1);
        VELTRAConvOp<double, double, KIND_PHASED>()(flags, three.data(), 0, three.size(), 1, f.data(), n1, 1, g.data(),
                                                    n2, 1);
        ASSERT_EQ(one, three);
    }
}

TEST(ConvOp, NegativeStridesWalkARunFromItsFarEnd) {
    std::mt19937_64 rng(6);
    const auto f = randomRun<double>(40, rng), g = randomRun<double>(5, rng);
    std::vector<double> reversedG(g.rbegin(), g.rend());
    const ConvFlags flags{0, 0};
    for (int kind = 0; kind < 2; ++kind) {
        std::vector<double> forward(44), backward(44);
        if (kind == 0) {
            VELTRAConvOp<double, double, KIND_AXPY>()(flags, forward.data(), 0, 44, 1, f.data(), 40, 1, g.data(), 5, 1);
            VELTRAConvOp<double, double, KIND_AXPY>()(flags, backward.data(), 0, 44, 1, f.data(), 40, 1,
                                                      reversedG.data(), 5, -1);
        } else {
            VELTRAConvOp<double, double, KIND_DOT>()(flags, forward.data(), 0, 44, 1, f.data(), 40, 1, g.data(), 5, 1);
            VELTRAConvOp<double, double, KIND_DOT>()(flags, backward.data(), 0, 44, 1, f.data(), 40, 1,
                                                     reversedG.data(), 5, -1);
        }
        EXPECT_EQ(forward, backward) << "kind " << kind;
    }
}

TEST(Walk2D, BlocksGiveTheBitsOfTheWholeAndTheSparseWalkAgrees) {
    std::mt19937_64 rng(8);
    const size_t m1 = 90, n1 = 70, m2 = 7, n2 = 5, rows = m1 + m2 - 1, cols = n1 + n2 - 1;
    const auto a = randomRun<double>(m1 * n1, rng);
    auto b = randomRun<double>(m2 * n2, rng);
    const ConvFlags flags{0, 1};
    std::vector<double> whole(rows * cols), blocks(rows * cols), sparse(rows * cols);
    convWalk2D(flags, whole.data(), rows, 0, rows, 0, cols, a.data(), m1, n1, b.data(), m2, n2);
    for (size_t r = 0; r < rows;) {
        const size_t re = std::min(rows, r + 1 + rng() % 50);
        for (size_t c = 0; c < cols;) {
            const size_t ce = std::min(cols, c + 1 + rng() % 20);
            convWalk2D(flags, blocks.data() + r + c * rows, rows, r, re, c, ce, a.data(), m1, n1, b.data(), m2, n2);
            c = ce;
        }
        r = re;
    }
    ASSERT_EQ(whole, blocks);
    std::vector<double> tapByTap(rows * cols);
    convWalk2D(ConvFlags{0, 0}, tapByTap.data(), rows, 0, rows, 0, cols, a.data(), m1, n1, b.data(), m2, n2);
    ASSERT_EQ(whole, tapByTap) << "the sweeps keep the order of the tap-by-tap walk";
    sparseWalk2D(flags, sparse.data(), rows, 0, rows, 0, cols, a.data(), m1, n1, b.data(), m2, n2);
    for (size_t i = 0; i < whole.size(); ++i) ASSERT_NEAR(whole[i], sparse[i], 1e-12);
}
