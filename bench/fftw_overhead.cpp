// Our one-dimensional transform against a bare execution of an FFTW plan for the same data:
// prints "name,our seconds,bare seconds" per case, medians of interleaved runs.
#include <algorithm>
#include <chrono>
#include <complex>
#include <cstdio>
#include <vector>

#include <fftw3.h>

#include "fourier/plan_container.hpp"

namespace {

double seconds(void (*f)(void*), void* arg) {
    const auto t = std::chrono::steady_clock::now();
    f(arg);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count();
}

struct Case {
    const char* name;
    uint64_t n, elements;
};

struct State {
    vfl_fft::fftwPlanContainer* container;
    std::complex<double>*in, *out;
    Case c;
    fftw_plan bare;
};

void ours(void* p) {
    auto* s = static_cast<State*>(p);
    vfl_fft::veltraFFT1D<double, 2>(s->container->context, &s->container->double2, s->in, s->out, 1, s->c.n, s->c.n,
                                    s->c.elements / s->c.n, -1);
}

void bare(void* p) {
    auto* s = static_cast<State*>(p);
    fftw_execute_dft(s->bare, reinterpret_cast<fftw_complex*>(s->in), reinterpret_cast<fftw_complex*>(s->out));
}

}  // namespace

int main() {
    vfl_fft::fftwPlanContainer container;
    for (Case c : {Case{"complex 2^20", 1 << 20, 1 << 20}, Case{"complex 1024 x 512 columns", 1024, 1024 * 512},
                   Case{"complex 64 x 4096 columns", 64, 64 * 4096}}) {
        const size_t total = c.elements;
        auto* in = static_cast<std::complex<double>*>(fftw_malloc(total * sizeof(std::complex<double>)));
        auto* out = static_cast<std::complex<double>*>(fftw_malloc(total * sizeof(std::complex<double>)));
        std::fill(in, in + total, std::complex<double>(1.0, 0.5));
        State s{&container, in, out, c, nullptr};
        ours(&s);  // plans and caches
        // The bare plan: the same transform, planned alike.
        const int n = int(c.n), count = int(c.elements / c.n);
        fftw_plan_with_nthreads(int(container.context.numThreads));
        s.bare = fftw_plan_many_dft(1, &n, count, reinterpret_cast<fftw_complex*>(in), nullptr, 1, n,
                                    reinterpret_cast<fftw_complex*>(out), nullptr, 1, n, FFTW_FORWARD, FFTW_ESTIMATE);
        std::vector<double> a, b;
        for (int r = 0; r < 11; ++r) a.push_back(seconds(ours, &s)), b.push_back(seconds(bare, &s));
        std::nth_element(a.begin(), a.begin() + 5, a.end());
        std::nth_element(b.begin(), b.begin() + 5, b.end());
        std::printf("%s,%.6f,%.6f\n", c.name, a[5], b[5]);
        fftw_destroy_plan(s.bare);
        fftw_free(in), fftw_free(out);
    }
    container.clearAll();
}
