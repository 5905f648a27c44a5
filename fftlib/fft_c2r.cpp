// Complex-to-real transforms of conjugate-symmetric sequences, from their first halves.
#include "fftlib/driver.hpp"

namespace vfl_fft {

namespace {

// Sequences at least kRowBlock apart go through a buffer in blocks of kRowBlock neighbours.
constexpr uint64_t kRowBlock = 8;

// Each block: the first halves of the neighbours copied into contiguous lanes, transformed by one
// plan of one thread, and written back row by row; blocks run in parallel.
template <class T>
void bufferedRows(const Job<T>& job, fftwPlanCacheInterface<T, kComplexToReal>* cache, const std::complex<T>* in,
                  T* out, uint64_t inLen) {
    using F = Fftw<T>;
    using FC = typename F::complex;
    const uint64_t n = job.n, stride = job.stride, outer = job.outer, W = kRowBlock, half = n / 2 + 1;
    const uint64_t common = std::min(inLen, half), blocks = (stride + W - 1) / W;
    const PlanOwner<T> plan = realLanesPlan(cache, job, W, false, 1);
    vlcommon::runRange(true, uint64_t(0), blocks * outer, uint64_t(1), [&](const tbb::blocked_range<uint64_t>& r) {
        Buffer<std::complex<T>> spectrum(size_t(W * half));
        Buffer<T> real(size_t(W * n));
        std::fill(spectrum.data, spectrum.data + W * half, std::complex<T>(0));
        for (uint64_t t = r.begin(); t < r.end(); ++t) {
            const uint64_t o = t / blocks, s0 = (t % blocks) * W, w = std::min(W, stride - s0);
            const std::complex<T>* from = in + s0 + stride * inLen * o;
            T* to = out + s0 + stride * n * o;
            rowsToLanes(from, stride, common, spectrum.data, half, w);
            F::execC2r(plan.plan, reinterpret_cast<FC*>(spectrum.data), real.data);
            for (uint64_t k = 0; k < n; ++k)
                for (uint64_t j = 0; j < w; ++j) to[stride * k + j] = real.data[n * j + k];
        }
    });
}

}  // namespace

template <class T>
struct Driver<T, kComplexToReal> {
    static void run(const Job<T>& job, fftwPlanCacheInterface<T, kComplexToReal>* cache, const std::complex<T>* in,
                    T* out, uint64_t inLen) {
        using F = Fftw<T>;
        using FC = typename F::complex;
        const uint64_t n = job.n, stride = job.stride, outer = job.outer, half = n / 2 + 1;
        if (stride >= kRowBlock) return bufferedRows(job, cache, in, out, inLen);
        // FFTW's complex-to-real pass destroys its input: it reads a staged copy of the first half.
        Buffer<std::complex<T>> staged(size_t(stride * half * outer));
        restage(in, inLen, staged.data, half, stride, outer);
        fftw_iodim64 d, how[2];
        job.dims(d, how, stride * half, stride * n);
        const PlanOwner<T> plan = planFor<T>(
            cache, job, staged.data, out, size_t(stride * half * outer) * sizeof(std::complex<T>),
            size_t(stride * n * outer) * sizeof(T), [&](unsigned flags, std::complex<T>* i, T* o) {
                return F::c2r(1, &d, 2, how, reinterpret_cast<FC*>(i), o, flags);
            });
        F::execC2r(plan.plan, reinterpret_cast<FC*>(staged.data), out);
    }
};

VL_FFT_INSTANCES(kComplexToReal)

}  // namespace vfl_fft
