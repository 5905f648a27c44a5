// The host's kernels of every level this processor runs, each against a plain loop written here,
// bit for bit: the level may change the speed, never a result.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "host/kernels/convert.hpp"
#include "host/kernels/gemv.hpp"
#include "host/kernels/transpose.hpp"

namespace vk = vlhost::kernels;

namespace {

struct Level {
    const char* name;
    bool runs;
    decltype(&vk::isa_baseline::transposeTile) transpose;
    void (*gemvD)(size_t, size_t, const double*, const double*, size_t, double*);
    void (*gemvF)(size_t, size_t, const float*, const float*, size_t, float*);
    decltype(&vk::isa_baseline::convertData) convert;
    decltype(&vk::isa_baseline::realToComplex) toComplex;
    decltype(&vk::isa_baseline::keepRealParts) keepReal;
    decltype(&vk::isa_baseline::imaginaryAllZero) imagZero;
};

#define VL_LEVEL(ns, runs)                                                                                  \
    Level {                                                                                                 \
        #ns, runs, &vk::ns::transposeTile, &vk::ns::smallGemv, &vk::ns::smallGemv, &vk::ns::convertData,    \
            &vk::ns::realToComplex, &vk::ns::keepRealParts, &vk::ns::imaginaryAllZero                        \
    }

std::vector<Level> runnableLevels() {
    std::vector<Level> all = {VL_LEVEL(isa_baseline, true), VL_LEVEL(isa_v3, vlcommon::runsLevel3()),
                              VL_LEVEL(isa_v4, vlcommon::runsLevel4())};
    std::vector<Level> runs;
    for (const Level& l : all)
        if (l.runs) runs.push_back(l);
    return runs;
}

std::vector<unsigned char> randomBytes(size_t n, uint64_t seed) {
    std::mt19937_64 rng(seed);
    std::vector<unsigned char> b(n);
    for (auto& c : b) c = static_cast<unsigned char>(rng());
    return b;
}

TEST(IsaKernels, TransposeTilesMoveEveryElementsBitsAtEveryLevel) {
    // Random bytes: NaNs with payloads and signalling NaNs among them.
    for (const Level& level : runnableLevels())
        for (size_t bytes : {1, 2, 4, 8, 16})
            for (auto [rows, cols] : {std::pair<size_t, size_t>{32, 32}, {17, 9}, {8, 8}, {1, 31}, {33, 3}, {0, 5}}) {
                const size_t ss = cols + 3, ds = rows + 5, ib = 1, jb = 2;
                const auto src = randomBytes((ib + rows) * ss * bytes + (jb + cols) * bytes, rows * 7 + cols + bytes);
                std::vector<unsigned char> got((jb + cols) * ds * bytes + ds * bytes, 0xAB), want(got);
                level.transpose(src.data(), ss, got.data(), ds, bytes, ib, ib + rows, jb, jb + cols);
                for (size_t j = jb; j < jb + cols; ++j)
                    for (size_t i = ib; i < ib + rows; ++i)
                        std::memcpy(&want[(i + j * ds) * bytes], &src[(i * ss + j) * bytes], bytes);
                EXPECT_EQ(got, want) << level.name << ", " << bytes << " bytes, " << rows << " by " << cols;
            }
}

template <class T, class Gemv>
void checkGemv(const char* name, Gemv gemv) {
    std::mt19937_64 rng(5);
    std::uniform_real_distribution<double> u(-1, 1);
    for (size_t p : {1, 7, 63, 64, 65, 130})
        for (size_t q : {1, 4, 64})
            for (size_t inc : {1, 2}) {
                std::vector<T> a(p * q), x(q * inc), got(p * inc, T(-7)), want(got);
                for (auto& v : a) v = T(u(rng));
                for (auto& v : x) v = T(u(rng));
                gemv(p, q, a.data(), x.data(), inc, got.data());
                for (size_t i = 0; i < p; ++i) {
                    T acc = 0;
                    for (size_t k = 0; k < q; ++k) acc += a[k * p + i] * x[k * inc];
                    want[i * inc] = acc;
                }
                EXPECT_EQ(0, std::memcmp(got.data(), want.data(), got.size() * sizeof(T)))
                    << name << " p " << p << " q " << q << " inc " << inc;
            }
}

TEST(IsaKernels, SmallProductsSumInOrderOfKAtEveryLevel) {
    for (const Level& level : runnableLevels()) {
        checkGemv<double>(level.name, level.gemvD);
        checkGemv<float>(level.name, level.gemvF);
    }
}

TEST(IsaKernels, ConversionsRoundSaturateAndAgreeAtEveryLevel) {
    const double inf = std::numeric_limits<double>::infinity(), nan = std::nan("");
    std::vector<double> values = {0.5, -0.5, 1.5, -2.5, 2.4999999999999996, 127.5, -128.5, 255.5, 32767.5,
                                  2147483647.5, -2147483648.5, 4294967295.5, 9.3e18, -9.3e18, 1.9e19, inf, -inf,
                                  nan, -0.0, 1e-300, 3.0e38, 3.5e38};
    std::mt19937_64 rng(9);
    std::uniform_real_distribution<double> u(-70000, 70000);
    for (int i = 0; i < 200; ++i) values.push_back(u(rng));
    const size_t n = values.size();
    struct Case {
        vxClassID to;
        double lo, hi;
    };
    // Integer targets against round-half-away-from-zero with saturation, NaN to 0.
    const Case ints[] = {{VX_INT8_CLASS, -128, 127}, {VX_UINT8_CLASS, 0, 255}, {VX_INT16_CLASS, -32768, 32767},
                         {VX_UINT16_CLASS, 0, 65535}, {VX_INT32_CLASS, -2147483648.0, 2147483647.0},
                         {VX_UINT32_CLASS, 0, 4294967295.0}};
    for (const Level& level : runnableLevels())
        for (const Case& c : ints) {
            std::vector<int64_t> got(n);
            std::vector<unsigned char> raw(n * 8);
            level.convert(VX_DOUBLE_CLASS, values.data(), c.to, raw.data(), n);
            vk::isa_baseline::convertData(c.to, raw.data(), VX_INT64_CLASS, got.data(), n);
            for (size_t i = 0; i < n; ++i) {
                const double v = values[i];
                const double want = std::isnan(v) ? 0 : std::min(c.hi, std::max(c.lo, std::round(v)));
                EXPECT_EQ(double(got[i]), want) << level.name << " class " << c.to << " of " << v;
            }
        }
    // Every pair of classes: the same bits at every level as at the baseline.
    const vxClassID classes[] = {VX_DOUBLE_CLASS, VX_SINGLE_CLASS, VX_LOGICAL_CLASS, VX_CHAR_CLASS,
                                 VX_INT8_CLASS,   VX_UINT8_CLASS,  VX_INT16_CLASS,   VX_UINT16_CLASS,
                                 VX_INT32_CLASS,  VX_UINT32_CLASS, VX_INT64_CLASS,   VX_UINT64_CLASS};
    const auto source = randomBytes(n * 8, 3);
    for (const Level& level : runnableLevels())
        for (vxClassID from : classes)
            for (vxClassID to : classes) {
                if (from == VX_LOGICAL_CLASS) continue;  // logical input is 0 or 1 only
                std::vector<unsigned char> want(n * 8), got(n * 8);
                vk::isa_baseline::convertData(from, source.data(), to, want.data(), n);
                level.convert(from, source.data(), to, got.data(), n);
                EXPECT_EQ(got, want) << level.name << " from " << from << " to " << to;
            }
}

TEST(IsaKernels, ComplexPartsSpreadKeptAndTestedAtEveryLevel) {
    for (const Level& level : runnableLevels())
        for (size_t bytes : {1, 2, 4, 8})
            for (size_t count : {0, 1, 5, 300, 1031}) {
                const auto real = randomBytes(count * bytes, count + bytes);
                std::vector<unsigned char> pairs(2 * count * bytes, 0);
                level.toComplex(real.data(), pairs.data(), count, bytes);
                for (size_t i = 0; i < count; ++i) {
                    ASSERT_EQ(0, std::memcmp(&pairs[2 * i * bytes], &real[i * bytes], bytes)) << level.name;
                    ASSERT_EQ(std::vector<unsigned char>(bytes, 0),
                              std::vector<unsigned char>(&pairs[(2 * i + 1) * bytes], &pairs[(2 * i + 2) * bytes]));
                }
                level.keepReal(pairs.data(), count, bytes);
                EXPECT_TRUE(std::equal(real.begin(), real.end(), pairs.begin())) << level.name << " " << bytes;
            }
    for (const Level& level : runnableLevels())
        for (size_t at : {size_t(0), size_t(255), size_t(256), size_t(999)}) {
            std::vector<double> pairs(2000, 0.0);
            for (size_t i = 0; i < 1000; ++i) pairs[2 * i] = double(i) + 0.5;
            pairs[2 * 17 + 1] = -0.0;  // a negative zero is zero
            EXPECT_TRUE(level.imagZero(VX_DOUBLE_CLASS, pairs.data(), 1000)) << level.name;
            pairs[2 * at + 1] = std::nan("");
            EXPECT_FALSE(level.imagZero(VX_DOUBLE_CLASS, pairs.data(), 1000)) << level.name << " at " << at;
            pairs[2 * at + 1] = 1e-310;
            EXPECT_FALSE(level.imagZero(VX_DOUBLE_CLASS, pairs.data(), 1000)) << level.name << " at " << at;
        }
}

}  // namespace
