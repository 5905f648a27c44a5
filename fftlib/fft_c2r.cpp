// Complex-to-real transforms of conjugate-symmetric sequences, from their first halves. The
// buffered and blocked forms divide by n as they write, while the values are in cache.
#include "fftlib/driver.hpp"

namespace vfl_fft {

namespace {

// Sequences at least kRowBlock apart go through a buffer in blocks of kRowBlock neighbours.
constexpr uint64_t kRowBlock = 16;

// Each block: the first halves of the neighbours copied into contiguous lanes, transformed by one
// plan of one thread, and written back row by row (divided by n for the inverse); blocks run in
// parallel.
template <class T>
void bufferedRows(const Job<T>& job, fftwPlanCacheInterface<T, kComplexToReal>* cache, const std::complex<T>* in,
                  T* out, uint64_t inLen) {
    using F = Fftw<T>;
    using FC = typename F::complex;
    const uint64_t n = job.n, stride = job.stride, outer = job.outer, W = kRowBlock, half = n / 2 + 1;
    const uint64_t common = std::min(inLen, half), blocks = (stride + W - 1) / W;
    const uint64_t realLane = n + kLanePad<T>, complexLane = half + kLanePad<std::complex<T>>;
    const PlanOwner<T> plan = realLanesPlan(cache, job, W, false, 1, false, true);
    const double divisor = job.sign > 0 ? double(n) : 1.0;
    vlcommon::runRange(true, uint64_t(0), blocks * outer, uint64_t(1), [&](const tbb::blocked_range<uint64_t>& r) {
        Buffer<std::complex<T>> spectrum(size_t(W * complexLane));
        Buffer<T> real(size_t(W * realLane));
        std::fill(spectrum.data, spectrum.data + W * complexLane, std::complex<T>(0));
        for (uint64_t t = r.begin(); t < r.end(); ++t) {
            const uint64_t o = t / blocks, s0 = (t % blocks) * W, w = std::min(W, stride - s0);
            const std::complex<T>* from = in + s0 + stride * inLen * o;
            T* to = out + s0 + stride * n * o;
            rowsToLanes(from, stride, common, spectrum.data, complexLane, w);
            F::execC2r(plan.plan, reinterpret_cast<FC*>(spectrum.data), real.data);
            kernels::loops<T>().divideLanesToRows(real.data, realLane, n, w, to, stride, divisor);
        }
    });
}

// The plan over `count` contiguous first halves, n / 2 + 1 apart, into as many sequences n apart.
template <class T>
PlanOwner<T> contiguousPlan(const Job<T>& job, fftwPlanCacheInterface<T, kComplexToReal>* cache, uint64_t count,
                            std::complex<T>* in, T* out) {
    using F = Fftw<T>;
    using FC = typename F::complex;
    Job<T> blockJob = job;
    blockJob.outer = count;
    blockJob.context.numThreads = 1;
    const uint64_t n = job.n, half = n / 2 + 1;
    fftw_iodim64 d, how[2];
    blockJob.dims(d, how, half, n);
    return planFor<T>(cache, blockJob, in, out, size_t(count * half) * sizeof(std::complex<T>),
                      size_t(count * n) * sizeof(T), [&](unsigned flags, std::complex<T>* i, T* o) {
                          return F::c2r(1, &d, 2, how, reinterpret_cast<FC*>(i), o, flags);
                      });
}

// Many short contiguous sequences in blocks of `block`: each block's first halves staged in a
// buffer, transformed into the output and divided by n while there; blocks run in parallel.
template <class T>
void blockedSequences(const Job<T>& job, fftwPlanCacheInterface<T, kComplexToReal>* cache, const std::complex<T>* in,
                      T* out, uint64_t inLen, uint64_t block) {
    using FC = typename Fftw<T>::complex;
    const uint64_t n = job.n, outer = job.outer, half = n / 2 + 1, blocks = outer / block, rest = outer - blocks * block;
    Buffer<std::complex<T>> probe(size_t(block * half));
    const PlanOwner<T> plan = contiguousPlan(job, cache, block, probe.data, out);
    const auto runBlock = [&](const PlanOwner<T>& p, uint64_t first, uint64_t count, std::complex<T>* staged) {
        restage(in + first * inLen, inLen, staged, half, 1, count);
        T* to = out + first * n;
        Fftw<T>::execC2r(p.plan, reinterpret_cast<FC*>(staged), to);
        kernels::loops<T>().divideAll(to, count * n, double(n));
    };
    vlcommon::runRange(blocks >= 2 && outer * n >= kParallelElements, uint64_t(0), blocks, uint64_t(1),
                       [&](const tbb::blocked_range<uint64_t>& r) {
                           Buffer<std::complex<T>> staged(size_t(block * half));
                           for (uint64_t b = r.begin(); b < r.end(); ++b) runBlock(plan, b * block, block, staged.data);
                       });
    if (rest) {
        const PlanOwner<T> tail = contiguousPlan(job, cache, rest, probe.data, out + blocks * block * n);
        runBlock(tail, blocks * block, rest, probe.data);
    }
}

}  // namespace

template <class T>
struct Driver<T, kComplexToReal> {
    static bool run(const Job<T>& job, fftwPlanCacheInterface<T, kComplexToReal>* cache, const std::complex<T>* in,
                    T* out, uint64_t inLen) {
        using F = Fftw<T>;
        using FC = typename F::complex;
        const uint64_t n = job.n, stride = job.stride, outer = job.outer, half = n / 2 + 1;
        if (stride >= kRowBlock) {
            bufferedRows(job, cache, in, out, inLen);
            return true;
        }
        const uint64_t block = blockColumns<T>(n);
        if (stride == 1 && block != 0 && outer >= 2 * block && job.sign > 0) {
            blockedSequences(job, cache, in, out, inLen, block);
            return true;
        }
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
        return false;
    }
};

VL_FFT_INSTANCES(kComplexToReal)

}  // namespace vfl_fft
