// The host's hot loops at each instruction-set level this processor runs, side by side: the
// small product, the permutation's tile transpose, the conversions, the spread to complex, and the
// zero fill (glibc's memset, which picks its own instructions at run time). A loop that is no
// faster above the baseline shows as a ratio near 1. Prints "loop,level,seconds,speed-up".
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "host/kernels/convert.hpp"
#include "host/kernels/gemv.hpp"
#include "host/kernels/transpose.hpp"

namespace vk = vlhost::kernels;

namespace {

// Median of 15 timed runs of `repeat` calls, after one warm-up.
double median(const std::function<void()>& f, int repeat) {
    f();
    std::vector<double> t;
    for (int r = 0; r < 15; ++r) {
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < repeat; ++i) f();
        t.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / repeat);
    }
    std::nth_element(t.begin(), t.begin() + 7, t.end());
    return t[7];
}

struct Level {
    const char* name;
    bool runs;
    void (*gemv)(size_t, size_t, const double*, const double*, size_t, double*);
    decltype(&vk::isa_baseline::transposeTile) transpose;
    decltype(&vk::isa_baseline::convertData) convert;
    decltype(&vk::isa_baseline::realToComplex) toComplex;
};

// A whole m by n transpose in 32 by 32 tiles, as the host's permutation runs it.
void transposeAll(const Level& l, const void* src, void* dst, size_t m, size_t n, size_t bytes) {
    constexpr size_t kTile = 32;
    for (size_t j = 0; j < n; j += kTile)
        for (size_t i = 0; i < m; i += kTile)
            l.transpose(src, n, dst, m, bytes, i, std::min(i + kTile, m), j, std::min(j + kTile, n));
}

}  // namespace

int main() {
    const Level levels[] = {
        {"baseline", true, &vk::isa_baseline::smallGemv, &vk::isa_baseline::transposeTile,
         &vk::isa_baseline::convertData, &vk::isa_baseline::realToComplex},
        {"x86-64-v3", vlcommon::runsLevel3(), &vk::isa_v3::smallGemv, &vk::isa_v3::transposeTile,
         &vk::isa_v3::convertData, &vk::isa_v3::realToComplex},
        {"x86-64-v4", vlcommon::runsLevel4(), &vk::isa_v4::smallGemv, &vk::isa_v4::transposeTile,
         &vk::isa_v4::convertData, &vk::isa_v4::realToComplex},
    };
    // Operands that stay in the second-level cache (a transpose of 1024 by 1024 and conversions
    // of 2^20 elements are bound by the memory at every level), and one power-of-two transpose.
    const size_t p = 64, n = 1024, m = 360, count = size_t(1) << 16;
    std::vector<double> a(p * p, 0.01), x(p, 1.0), y(p), big(2 * n * n, 1.5), out(2 * n * n);
    std::vector<int32_t> ints(count, 12345);
    std::vector<int16_t> shorts(count);
    std::vector<double> doubles(2 * count, 0.0);

    struct Loop {
        std::string name;
        std::function<void(const Level&)> run;
        int repeat;
    };
    const Loop loops[] = {
        {"product 64x64 by 64", [&](const Level& l) { l.gemv(p, p, a.data(), x.data(), 1, y.data()); }, 2000},
        {"permutation 360^2 float", [&](const Level& l) { transposeAll(l, big.data(), out.data(), m, m, 4); }, 200},
        {"permutation 360^2 double", [&](const Level& l) { transposeAll(l, big.data(), out.data(), m, m, 8); }, 100},
        {"permutation 360^2 complex", [&](const Level& l) { transposeAll(l, big.data(), out.data(), m, m, 16); }, 50},
        {"permutation 1024^2 double", [&](const Level& l) { transposeAll(l, big.data(), out.data(), n, n, 8); }, 10},
        {"conversion 2^16 double to int16",
         [&](const Level& l) { l.convert(VX_DOUBLE_CLASS, big.data(), VX_INT16_CLASS, shorts.data(), count); }, 200},
        {"conversion 2^16 int32 to double",
         [&](const Level& l) { l.convert(VX_INT32_CLASS, ints.data(), VX_DOUBLE_CLASS, doubles.data(), count); }, 200},
        {"copy 2^16 real to complex",
         [&](const Level& l) { l.toComplex(big.data(), doubles.data(), count, sizeof(double)); }, 200},
    };
    std::printf("loop,level,seconds,speed-up over baseline\n");
    for (const Loop& loop : loops) {
        double base = 0;
        for (const Level& l : levels) {
            if (!l.runs) {
                std::printf("%s,%s,,not run by this processor\n", loop.name.c_str(), l.name);
                continue;
            }
            const double t = median([&] { loop.run(l); }, loop.repeat);
            if (base == 0) base = t;
            std::printf("%s,%s,%.3e,%.2fx\n", loop.name.c_str(), l.name, t, base / t);
        }
    }
    const double fill = median([&] { std::memset(doubles.data(), 0, doubles.size() * sizeof(double)); }, 20);
    std::printf("fill %zu KiB (glibc's memset at its own choice),any,%.3e,\n", doubles.size() * sizeof(double) >> 10, fill);
    return 0;
}
