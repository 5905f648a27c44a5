// Long real sequences transformed in their output's memory: whatever that memory held before, a
// shorter input is padded with zeros and a longer one cut.
#include <complex>
#include <limits>
#include <random>
#include <vector>

#include "fourier/plan_container.hpp"
#include "tests/cpp/support.hpp"

using namespace vfl_fft;

TEST(RealForward, LongSequencesIgnoreWhatTheOutputHeld) {
    constexpr uint64_t n = 1 << 17, outer = 2;
    fftwPlanContainer& container = getFFTWPlanContainer();
    std::mt19937 gen(3);
    std::normal_distribution<double> normal;
    std::vector<double> padded(n * outer, 0.0);
    for (uint64_t shorter : {n - 5, n + 7}) {
        const uint64_t common = std::min(shorter, n);
        std::vector<double> x(shorter * outer);
        for (double& v : x) v = normal(gen);
        for (uint64_t q = 0; q < outer; ++q)
            std::copy(x.begin() + shorter * q, x.begin() + shorter * q + common, padded.begin() + n * q);
        const std::complex<double> nan(std::numeric_limits<double>::quiet_NaN(), 0.0);
        std::vector<std::complex<double>> got(n * outer, nan), want(n * outer, nan);
        veltraFFT1D<double, 0>(container.context, &container.double0, x.data(), got.data(), 1, n, shorter, outer, -1);
        veltraFFT1D<double, 0>(container.context, &container.double0, padded.data(), want.data(), 1, n, n, outer, -1);
        ASSERT_EQ(got, want) << "input length " << shorter;
        EXPECT_EQ(got[0].imag(), 0.0);
        EXPECT_EQ(got[n - 1], std::conj(got[1])) << "the upper half mirrors the lower";
    }
    container.clearAll();
}
