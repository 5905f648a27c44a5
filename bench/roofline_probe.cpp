// This machine's limits for the roofline benchmark: the two-rounding peak (independent multiply
// and add streams in registers, double and single, on every core) and the memory bandwidth (a
// streaming copy and a streaming read of arrays far larger than the caches, on every core).
// Prints one "name value" line each: GFLOP/s, then GB/s (bytes read plus bytes written).
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

volatile double gOne = 1.0, gZero = 0.0;  // unknown to the compiler: nothing folds

constexpr size_t kVectorBytes = 64;
constexpr int kChains = 12;  // per stream: covers the multiplier's latency at two per cycle

template <class T>
struct VecOf {
    typedef T type __attribute__((vector_size(kVectorBytes)));
};
template <class T>
using Vec = typename VecOf<T>::type;

// kChains products and kChains sums per iteration, each a vector; returns a value that uses
// every chain, so that none is dropped.
template <class T>
__attribute__((always_inline)) inline T streams(size_t iterations) {
    const T m = T(gOne), a = T(gZero);
    Vec<T> p[kChains], s[kChains];
    for (int k = 0; k < kChains; ++k) p[k] = Vec<T>{} + T(1 + k), s[k] = Vec<T>{} + T(k);
    for (size_t i = 0; i < iterations; ++i) {
#pragma GCC unroll 12
        for (int k = 0; k < kChains; ++k) {
            p[k] = p[k] * m;
            s[k] = s[k] + a;
        }
    }
    T total = 0;
    for (int k = 0; k < kChains; ++k)
        for (size_t l = 0; l < kVectorBytes / sizeof(T); ++l) total += p[k][l] + s[k][l];
    return total;
}

template <class T>
__attribute__((target("avx512f"))) T streamsAvx512(size_t n) { return streams<T>(n); }
template <class T>
__attribute__((target("avx2"))) T streamsAvx2(size_t n) { return streams<T>(n); }
template <class T>
T streamsBaseline(size_t n) { return streams<T>(n); }

template <class T>
T runStreams(size_t n) {
    if (__builtin_cpu_supports("avx512f")) return streamsAvx512<T>(n);
    if (__builtin_cpu_supports("avx2")) return streamsAvx2<T>(n);
    return streamsBaseline<T>(n);
}

// Runs body(thread) on `threads` threads at once; the best of `rounds` wall times, in seconds.
template <class Body>
double bestTime(unsigned threads, int rounds, const Body& body) {
    double best = 1e300;
    for (int r = 0; r < rounds; ++r) {
        std::vector<std::thread> pool;
        const auto start = Clock::now();
        for (unsigned t = 0; t < threads; ++t) pool.emplace_back([&, t] { body(t); });
        for (auto& th : pool) th.join();
        const double s = std::chrono::duration<double>(Clock::now() - start).count();
        best = s < best ? s : best;
    }
    return best;
}

template <class T>
double peakGflops(unsigned threads) {
    const size_t iterations = size_t(1) << 24;
    volatile T sink = 0;
    const double s = bestTime(threads, 3, [&](unsigned) { sink = sink + runStreams<T>(iterations); });
    const double flops = double(iterations) * kChains * 2 * (kVectorBytes / sizeof(T)) * threads;
    return flops / s / 1e9;
}

// Each thread copies, then reads, its own slice; slices are first touched by their thread.
void bandwidth(unsigned threads, double& copyGBs, double& readGBs) {
    const size_t perThread = (size_t(256) << 20) / sizeof(double);
    std::vector<std::vector<double>> from(threads), to(threads);
    bestTime(threads, 1, [&](unsigned t) {
        from[t].assign(perThread, 1.0);
        to[t].assign(perThread, 0.0);
    });
    const double copy = bestTime(threads, 5, [&](unsigned t) {
        std::memcpy(to[t].data(), from[t].data(), perThread * sizeof(double));
    });
    volatile double sink = 0;
    const double read = bestTime(threads, 5, [&](unsigned t) {
        Vec<double> acc[4] = {};
        const double* p = from[t].data();
        for (size_t i = 0; i + 32 <= perThread; i += 32)
            for (int k = 0; k < 4; ++k) {
                Vec<double> v;
                std::memcpy(&v, p + i + 8 * k, sizeof v);
                acc[k] = acc[k] + v;
            }
        sink = sink + acc[0][0] + acc[1][1] + acc[2][2] + acc[3][3];
    });
    const double bytes = double(perThread) * sizeof(double) * threads;
    copyGBs = 2 * bytes / copy / 1e9;
    readGBs = bytes / read / 1e9;
}

}  // namespace

int main() {
    const unsigned cores = std::thread::hardware_concurrency() ? std::thread::hardware_concurrency() : 1;
    double copy = 0, read = 0;
    std::printf("cores %u\n", cores);
    std::printf("peak_double %.1f\n", peakGflops<double>(cores));
    std::printf("peak_single %.1f\n", peakGflops<float>(cores));
    std::printf("peak_double_1 %.1f\n", peakGflops<double>(1));
    bandwidth(cores, copy, read);
    std::printf("copy %.1f\nread %.1f\n", copy, read);
    return 0;
}
