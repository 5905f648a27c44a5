// The update step's forms, and FIR chunks against the whole column.
#include <cmath>
#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include "filter/kernels/fir.hpp"

using namespace vfl_filter;

TEST(UpdateStep, ZeroSamplesStayInlineAndTheRealIntoComplexFormSkipsThem) {
    const double inf = std::numeric_limits<double>::infinity();
    for (size_t n : {3, 16, 17, 40}) {
        std::vector<double> v(2 * n, 1.0), out(2 * n, 0.0);
        v[2] = inf;  // element 1 real, element 2 when read as complex pairs
        const double zero[2] = {0.0, 0.0};
        updateStep(out.data(), false, 0, zero, false, v.data(), false, n);
        EXPECT_TRUE(std::isnan(out[2])) << "a zero sample multiplies the Inf, n = " << n;
        std::fill(out.begin(), out.end(), 0.0);
        updateStep(out.data(), true, 0, zero, false, v.data(), false, n);
        EXPECT_EQ(out[2], 0.0) << "real into complex: the scale 0 returns at once, n = " << n;
        std::fill(out.begin(), out.end(), 0.0);
        updateStep(out.data(), true, 0, zero, true, v.data(), true, n);
        EXPECT_TRUE(std::isnan(out[2]));
        const double nan[2] = {std::nan(""), 0.0};
        std::fill(out.begin(), out.end(), 0.0);
        updateStep(out.data(), false, 0, nan, false, v.data(), false, n);
        EXPECT_TRUE(std::isnan(out[0])) << "a NaN sample is not zero";
    }
}

TEST(UpdateStep, InlineAndLongFormsGiveTheSameBits) {
    std::mt19937_64 rng(2);
    std::normal_distribution<double> d;
    for (int rows = 0; rows < 4; ++rows) {
        const bool vC = rows & 1, sC = rows & 2;
        std::vector<double> v(2 * 40), s{d(rng), d(rng)}, whole(2 * 40, 0.5), pieces(2 * 40, 0.5);
        for (auto& e : v) e = d(rng);
        updateStep(whole.data(), true, 0, s.data(), sC, v.data(), vC, 40);  // long form
        for (size_t p = 0; p < 40; p += 8)
            updateStep(pieces.data(), true, p, s.data(), sC, v.data() + (vC ? 2 : 1) * p, vC, 8);  // inline
        EXPECT_EQ(whole, pieces) << "coefficients complex " << vC << ", sample complex " << sC;
    }
    std::vector<double> y(8, 1.0), x{1, 2, 3, 4};
    vlcommon::axpyAsBlas(4, std::complex<double>(2.0, -1.0), x.data() + 3, -1, asComplex(y.data()) + 3, -1);
    EXPECT_EQ(y, (std::vector<double>{3, 0, 5, -1, 7, -2, 9, -3})) << "complex y, real x, walking backwards";
}

TEST(FirKernel, ChunksOfAColumnGiveTheBitsOfTheWholeColumn) {
    std::mt19937_64 rng(3);
    std::normal_distribution<double> d;
    for (i64 nb : {5, 16, 17, 60}) {
        const i64 L = 700, nz = nb - 1;
        std::vector<double> b(nb), x(L), zi(nz);
        for (auto& e : b) e = d(rng);
        for (auto& e : x) e = d(rng);
        for (auto& e : zi) e = d(rng);
        std::vector<double> whole(L, 0.0), pieces(L, 0.0);
        vlFilterFIR()(nb, b.data(), L, x.data(), nz, zi.data(), whole.data(), 0, L, false, false, false, false);
        for (i64 s = 0; s < L;) {
            const i64 e = std::min<i64>(L, s + 1 + i64(rng() % 50));
            vlFilterFIR()(nb, b.data(), L, x.data(), nz, zi.data(), pieces.data(), s, e, false, false, false, false);
            s = e;
        }
        EXPECT_EQ(std::memcmp(whole.data(), pieces.data(), L * sizeof(double)), 0) << "nb " << nb;
        std::vector<double> zf(nz, 0.0), zfPieces(nz, 0.0);
        vlFilterFIR_FC()(nb, b.data(), L, x.data(), nz, zi.data(), zf.data(), 0, nz, false, false, false, false);
        for (i64 s = 0; s < nz; s += 3)
            vlFilterFIR_FC()(nb, b.data(), L, x.data(), nz, zi.data(), zfPieces.data(), s, std::min(nz, s + 3), false,
                             false, false, false);
        EXPECT_EQ(zf, zfPieces);
    }
}
