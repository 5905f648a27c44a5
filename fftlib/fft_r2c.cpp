// Real-to-complex transforms, filled to full length by conjugate symmetry or kept to their first
// halves. Many short contiguous
// columns go in blocks, each transformed and filled while it is in cache.
#include <memory>

#include "fftlib/driver.hpp"

namespace vfl_fft {

namespace {

// Sequence q's upper half from its lower half: X[k] = conj(X[n - k]); nothing for a half output.
template <class T>
void fillBySymmetry(const Job<T>& job, std::complex<T>* out, uint64_t q) {
    if (job.half) return;
    const uint64_t n = job.n, stride = job.stride;
    T* r = reinterpret_cast<T*>(out + q % stride + stride * n * (q / stride));
    const uint64_t from = n / 2 + 1;
    if (stride == 1) return kernels::loops<T>().conjugateReversed(r + 2 * from, r + 2 * (n - from), n - from);
    for (uint64_t k = from; k < n; ++k) {
        r[2 * stride * k] = r[2 * stride * (n - k)];
        r[2 * stride * k + 1] = -r[2 * stride * (n - k) + 1];
    }
}

template <class T>
PlanOwner<T> realPlan(fftwPlanCacheInterface<T, kRealToComplex>* cache, const Job<T>& job, T* in,
                      std::complex<T>* out) {
    using F = Fftw<T>;
    fftw_iodim64 d, how[2];
    const uint64_t span = job.stride * job.n, outSpan = job.stride * job.outLen();
    job.dims(d, how, span, outSpan);
    return planFor<T>(cache, job, in, out, span * job.outer * sizeof(T), outSpan * job.outer * sizeof(std::complex<T>),
                                      [&](unsigned flags, T* i, std::complex<T>* o) {
                                          return F::r2c(1, &d, 2, how, i, reinterpret_cast<typename F::complex*>(o),
                                                        flags | FFTW_PRESERVE_INPUT);
                                      });
}

// Sequences at least kRowBlock apart (rows of a column-major matrix) go through a buffer in
// blocks of kRowBlock neighbours, each lane contiguous there.
constexpr uint64_t kRowBlock = 8;

// Each block: the rows of the neighbours copied into contiguous lanes, transformed by one plan of
// one thread, and written back row by row (with the upper half mirrored when filled); blocks run in
// parallel.
template <class T>
void bufferedRows(const Job<T>& job, fftwPlanCacheInterface<T, kRealToComplex>* cache, const T* in,
                  std::complex<T>* out, uint64_t inLen) {
    using F = Fftw<T>;
    using FC = typename F::complex;
    const uint64_t n = job.n, stride = job.stride, outer = job.outer, W = kRowBlock, half = n / 2 + 1;
    const uint64_t common = std::min(inLen, n), blocks = (stride + W - 1) / W, outLen = job.outLen();
    const PlanOwner<T> plan = realLanesPlan(cache, job, W, true, 1);
    vlcommon::runRange(true, uint64_t(0), blocks * outer, uint64_t(1), [&](const tbb::blocked_range<uint64_t>& r) {
        Buffer<T> real(size_t(W * n));
        Buffer<std::complex<T>> spectrum(size_t(W * half));
        std::fill(real.data, real.data + W * n, T(0));
        for (uint64_t t = r.begin(); t < r.end(); ++t) {
            const uint64_t o = t / blocks, s0 = (t % blocks) * W, w = std::min(W, stride - s0);
            const T* from = in + s0 + stride * inLen * o;
            std::complex<T>* to = out + s0 + stride * outLen * o;
            rowsToLanes(from, stride, common, real.data, n, w);
            F::execR2c(plan.plan, real.data, reinterpret_cast<FC*>(spectrum.data));
            const std::complex<T>* v = spectrum.data;
            for (uint64_t k = 0; k < half; ++k)
                for (uint64_t j = 0; j < w; ++j) to[stride * k + j] = v[half * j + k];
            for (uint64_t k = half; k < outLen; ++k)
                for (uint64_t j = 0; j < w; ++j) to[stride * k + j] = std::conj(v[half * j + n - k]);
        }
    });
}

// Long contiguous sequences of a length that runs faster in place: each copied (padded or cut) into
// its output sequence's memory, transformed there and filled; sequences in parallel on one thread
// each, or a single one on all threads.
template <class T>
void inPlaceSequences(const Job<T>& job, fftwPlanCacheInterface<T, kRealToComplex>* cache, const T* in,
                      std::complex<T>* out, uint64_t inLen) {
    using F = Fftw<T>;
    using FC = typename F::complex;
    const uint64_t n = job.n, outer = job.outer, common = std::min(inLen, n), outLen = job.outLen();
    Job<T> one = job;
    one.outer = 1;
    if (outer > 1) one.context.numThreads = 1;
    T* const first = reinterpret_cast<T*>(out);
    const fftw_iodim64 d{ptrdiff_t(n), 1, 1}, how{1, 0, 0};
    const size_t bytes = size_t(n) * sizeof(std::complex<T>);
    const PlanOwner<T> plan = planFor<T>(cache, one, first, out, bytes, bytes, [&](unsigned flags, T* i, std::complex<T>* o) {
        return F::r2c(1, &d, 1, &how, i, reinterpret_cast<FC*>(o), flags);
    });
    forSequences(outer, n, [&](uint64_t q) {
        T* r = reinterpret_cast<T*>(out + outLen * q);
        std::copy(in + inLen * q, in + inLen * q + common, r);
        std::fill(r + common, r + n, T(0));
        F::execR2c(plan.plan, r, reinterpret_cast<FC*>(r));
        fillBySymmetry(job, out, q);
    });
}

}  // namespace

template <class T>
struct Driver<T, kRealToComplex> {
    static bool run(const Job<T>& job, fftwPlanCacheInterface<T, kRealToComplex>* cache, const T* in,
                    std::complex<T>* out, uint64_t inLen) {
        forward(job, cache, in, out, inLen);
        return false;  // a forward transform: nothing to scale
    }

    static void forward(const Job<T>& job, fftwPlanCacheInterface<T, kRealToComplex>* cache, const T* in,
                        std::complex<T>* out, uint64_t inLen) {
        using F = Fftw<T>;
        using FC = typename F::complex;
        const uint64_t n = job.n, stride = job.stride, outer = job.outer, outLen = job.outLen();
        const bool sameMemory = static_cast<const void*>(in) == static_cast<const void*>(out);
        if (stride >= kRowBlock && !sameMemory) return bufferedRows(job, cache, in, out, inLen);
        if (stride == 1 && !sameMemory && realForwardInPlace(n)) return inPlaceSequences(job, cache, in, out, inLen);
        // Another length, or the input in the output's memory: the transform reads a staged copy.
        std::unique_ptr<Buffer<T>> staged;
        T* src = const_cast<T*>(in);
        if (inLen != n || sameMemory) {
            staged = std::make_unique<Buffer<T>>(size_t(stride * n * outer));
            restage(in, inLen, staged->data, n, stride, outer);
            src = staged->data;
            if (stride >= kRowBlock) return bufferedRows(job, cache, src, out, n);
        }
        const auto fill = [&](uint64_t q) { fillBySymmetry(job, out, q); };
        const uint64_t block = blockColumns<T>(n);
        if (stride != 1 || block == 0 || outer < 2 * block) {
            const PlanOwner<T> plan = realPlan(cache, job, src, out);
            F::execR2c(plan.plan, src, reinterpret_cast<FC*>(out));
            return forSequences(outer * stride, n, fill);
        }
        Job<T> blockJob = job;
        blockJob.outer = block;
        blockJob.context.numThreads = 1;
        const PlanOwner<T> plan = realPlan(cache, blockJob, src, out);
        const uint64_t blocks = outer / block;
        forSequences(blocks, block * n, [&](uint64_t b) {
            F::execR2c(plan.plan, src + b * block * n, reinterpret_cast<FC*>(out + b * block * outLen));
            for (uint64_t q = b * block; q < (b + 1) * block; ++q) fill(q);
        });
        if (const uint64_t rest = outer - blocks * block) {
            Job<T> restJob = blockJob;
            restJob.outer = rest;
            const uint64_t offset = blocks * block * n, outOffset = blocks * block * outLen;
            const PlanOwner<T> tail = realPlan(cache, restJob, src + offset, out + outOffset);
            F::execR2c(tail.plan, src + offset, reinterpret_cast<FC*>(out + outOffset));
            for (uint64_t q = blocks * block; q < outer; ++q) fill(q);
        }
    }
};

VL_FFT_INSTANCES(kRealToComplex)

template <class T>
void veltraRealFFT1DHalf(fftwContext context, fftwPlanCacheInterface<T, kRealToComplex>* cache, const T* in,
                         std::complex<T>* out, uint64_t stride, uint64_t n, uint64_t inLen, uint64_t howMany) {
    if (n == 0 || howMany == 0 || stride == 0) return;
    fftwApi::getInstance();
    Job<T> job{context, n, stride, howMany / stride, -1};
    job.half = true;
    Driver<T, kRealToComplex>::run(job, cache, in, out, inLen);
}

template void veltraRealFFT1DHalf<float>(fftwContext, fftwPlanCacheInterface<float, kRealToComplex>*, const float*,
                                         std::complex<float>*, uint64_t, uint64_t, uint64_t, uint64_t);
template void veltraRealFFT1DHalf<double>(fftwContext, fftwPlanCacheInterface<double, kRealToComplex>*, const double*,
                                          std::complex<double>*, uint64_t, uint64_t, uint64_t, uint64_t);

}  // namespace vfl_fft
