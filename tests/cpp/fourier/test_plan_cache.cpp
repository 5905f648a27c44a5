// Plan caches of both families: accounting, the byte limit, reuse, and plans the cache refuses.
#include <complex>
#include <vector>

#include <cmath>

#include "dcst/plan_container.hpp"
#include "fourier/plan_container.hpp"
#include "tests/cpp/support.hpp"

using namespace vfl_fft;

namespace {

fftw_plan tinyPlan() {
    static std::vector<std::complex<double>> buffer(8);
    auto* p = reinterpret_cast<fftw_complex*>(buffer.data());
    return fftw_plan_dft_1d(8, p, p, FFTW_FORWARD, FFTW_ESTIMATE);
}

// A cache that refuses every plan: veltraFFT1D must destroy them itself.
template <class T, int kind>
struct RefusingCache : fftwPlanCacheInterface<T, kind> {
    int offered = 0;
    bool insert(const PlanKey&, PlanOf<T>) override { return ++offered, false; }
    PlanOf<T> find(const PlanKey&) override { return nullptr; }
};

}  // namespace

TEST(PlanCache, AccountingAndTheByteLimit) {
    localMapCache<double, 2> cache;
    EXPECT_TRUE(cache.insert({1000000, 1, 1, 0}, tinyPlan()));
    EXPECT_EQ(cache.usedBytes(), 16000000u);
    fftw_plan again = tinyPlan();
    EXPECT_FALSE(cache.insert({1000000, 1, 1, 0}, again)) << "a present key changes nothing";
    fftw_destroy_plan(again);
    EXPECT_EQ(cache.usedBytes(), 16000000u);
    EXPECT_TRUE(cache.insert({62500, 1, 1, 0}, tinyPlan()));  // exactly 17000000 now
    EXPECT_EQ(cache.usedBytes(), 17000000u);
    fftw_plan refused = tinyPlan();
    EXPECT_FALSE(cache.insert({1, 0, 0, 0}, refused));
    fftw_destroy_plan(refused);
    EXPECT_NE(cache.find({62500, 1, 1, 0}), nullptr);
    EXPECT_EQ(cache.find({62500, 1, 1, 1}), nullptr);
    cache.clear();
    EXPECT_EQ(cache.usedBytes(), 0u);
    EXPECT_EQ(cache.size(), 0u);
    cache.clear();

    localMapCache<double, 2> below;
    EXPECT_TRUE(below.insert({1062499, 0, 0, 0}, tinyPlan()));  // 16999984 bytes: one more fits
    EXPECT_TRUE(below.insert({5000000, 0, 0, 0}, tinyPlan()));  // and may overshoot
    EXPECT_GT(below.usedBytes(), 17000000u);
}

TEST(PlanCache, FloatAndDoubleAreApartAndCountDifferently) {
    fftwPlanContainer& container = getFFTWPlanContainer();
    container.clearAll();
    std::vector<std::complex<double>> xd(64, 1.0), yd(64);
    std::vector<std::complex<float>> xf(64, 1.0f), yf(64);
    veltraFFT1D<double, 2>(container.context, &container.double2, xd.data(), yd.data(), 1, 64, 64, 1, -1);
    veltraFFT1D<float, 2>(container.context, &container.float2, xf.data(), yf.data(), 1, 64, 64, 1, -1);
    EXPECT_EQ(container.double2.usedBytes(), 64u * 16);
    EXPECT_EQ(container.float2.usedBytes(), 64u * 8);
    const uint64_t made = fftwApi::getInstance().plansMade();
    veltraFFT1D<double, 2>(container.context, &container.double2, xd.data(), yd.data(), 1, 64, 64, 1, -1);
    EXPECT_EQ(fftwApi::getInstance().plansMade(), made) << "the second identical call reuses the plan";
    EXPECT_EQ(yd[0], std::complex<double>(64, 0));
    EXPECT_EQ(&getFFTWPlanContainer(), &container);
    container.clearAll();
}

TEST(PlanCache, RefusedPlansStayTheTransformsToDestroy) {
    RefusingCache<double, 0> cache;
    std::vector<double> x(30, 1.0);
    std::vector<std::complex<double>> y(30);
    fftwContext context;
    for (int i = 0; i < 3; ++i) veltraFFT1D<double, 0>(context, &cache, x.data(), y.data(), 1, 30, 30, 1, -1);
    EXPECT_EQ(cache.offered, 3);
    EXPECT_EQ(y[0], std::complex<double>(30, 0));
    EXPECT_EQ(y[29], std::complex<double>(0, 0));
}

TEST(PlanCache, CosineAndSineKindsHaveTheirOwnCachesAndCountAsComplex) {
    dcstPlanContainer& container = getDCSTPlanContainer();
    container.clearAll();
    std::vector<double> x(50, 1.0), y(50);
    std::vector<float> xf(50, 1.0f), yf(50);
    veltraDCST1D<double, kDct2>(container.context, &container.cache<double, kDct2>(), x.data(), y.data(), 1, 50, 50,
                                1, -1, false);
    std::vector<double> sine(50);
    veltraDCST1D<double, kDst2>(container.context, &container.cache<double, kDst2>(), x.data(), sine.data(), 1, 50, 50,
                                1, -1, false);
    veltraDCST1D<float, kDct2>(container.context, &container.cache<float, kDct2>(), xf.data(), yf.data(), 1, 50, 50, 1,
                               -1, false);
    EXPECT_EQ((container.cache<double, kDct2>().size()), 1u);
    EXPECT_EQ((container.cache<double, kDst2>().size()), 1u);
    EXPECT_EQ((container.cache<double, kDct2>().usedBytes()), 50u * 16);
    EXPECT_EQ((container.cache<float, kDct2>().usedBytes()), 50u * 8);
    EXPECT_NEAR(yf[0], std::sqrt(50.0f), 1e-5f) << "the orthonormal DCT-II of ones: sqrt(n), then zeros";
    EXPECT_NEAR(y[0], std::sqrt(50.0), 1e-13);
    EXPECT_NEAR(y[7], 0.0, 1e-13);
    container.clearAll();
    EXPECT_EQ((container.cache<double, kDst2>().size()), 0u);
    EXPECT_EQ(&getDCSTPlanContainer(), &container);
}

TEST(PlanCache, RefusedCosinePlansStayTheTransformsToDestroy) {
    struct Refusing : dcstPlanCacheInterface<double, kDct3> {
        int offered = 0;
        bool insert(const PlanKey&, PlanOf<double>) override { return ++offered, false; }
        PlanOf<double> find(const PlanKey&) override { return nullptr; }
    } cache;
    std::vector<double> x(40, 0.0), y(40);
    x[0] = 1;
    fftwContext context;
    for (int i = 0; i < 3; ++i) veltraDCST1D<double, kDct3>(context, &cache, x.data(), y.data(), 1, 40, 40, 1, 1, false);
    EXPECT_EQ(cache.offered, 3);
    EXPECT_NEAR(y[17], 1 / std::sqrt(40.0), 1e-15) << "the first column of the orthonormal DCT-III";
    EXPECT_EQ(x[0], 1.0) << "the input stays as it was";
}

TEST(PlanCache, ARefusedPlanIsKeptAsideOfferedAgainAndMadeOnce) {
    // Each miss still offers a plan, but the one refused last time, not a new one.
    RefusingCache<double, 2> refusing;
    std::vector<std::complex<double>> x(37, 1.0), y(37);
    fftwContext context;
    const uint64_t before = fftwApi::getInstance().plansMade();
    for (int i = 0; i < 3; ++i) veltraFFT1D<double, 2>(context, &refusing, x.data(), y.data(), 1, 37, 37, 1, -1);
    EXPECT_EQ(refusing.offered, 3);
    EXPECT_EQ(fftwApi::getInstance().plansMade() - before, 1u);
    EXPECT_EQ(y[0], std::complex<double>(37, 0));

    // A cache with room later takes the kept plan over, and destroys it itself.
    struct RefusingOnce : fftwPlanCacheInterface<double, 2> {
        int offered = 0;
        PlanKey key{};
        fftw_plan plan = nullptr;
        bool insert(const PlanKey& k, fftw_plan p) override {
            if (++offered == 1) return false;
            key = k, plan = p;
            return true;
        }
        fftw_plan find(const PlanKey& k) override { return plan && k == key ? plan : nullptr; }
        ~RefusingOnce() override {
            if (plan) fftw_destroy_plan(plan);
        }
    } once;
    const uint64_t start = fftwApi::getInstance().plansMade();
    for (int i = 0; i < 3; ++i) veltraFFT1D<double, 2>(context, &once, x.data(), y.data(), 1, 41 - 4, 37, 1, +1);
    EXPECT_EQ(once.offered, 2);
    EXPECT_EQ(fftwApi::getInstance().plansMade() - start, 1u);
    EXPECT_NEAR(y[0].real(), 1.0, 1e-15) << "the inverse of ones: 1, then zeros";
    EXPECT_NEAR(std::abs(y[5]), 0.0, 1e-15);
}
