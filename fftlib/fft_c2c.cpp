// Complex-to-complex transforms. Sequences lying far apart go through a small buffer in blocks
// of neighbours; the others are one guru plan over the whole array.
#include "fftlib/driver.hpp"

namespace vfl_fft {

namespace {

// Sequences at least 2 * kStridedBlock apart go in blocks of neighbours through a buffer:
// blocks of kStridedBlock, or kFarStridedBlock when rows lie kFarStride or more apart, where more
// neighbours share each page (fftn of 192^3, 200^3 and 256^3 with the rows prefetched: 16 takes
// 51, 37 and 94 ms, 8 takes 56, 39 and 102; 1024 rows 513 apart: 16 takes 1.0 ms, 4 takes 1.1).
constexpr uint64_t kStridedBlock = 4;
constexpr uint64_t kFarStridedBlock = 16;
constexpr uint64_t kFarStride = 512;

template <class T>
using C = std::complex<T>;

// w elements of a row; a whole block's row is a copy of known size, done inline rather than by a
// call per row.
template <class E>
inline void copyRow(E* to, const E* from, uint64_t w) {
    if (w == kStridedBlock) std::memcpy(to, from, kStridedBlock * sizeof(E));
    else if (w == kFarStridedBlock) std::memcpy(to, from, kFarStridedBlock * sizeof(E));
    else std::memcpy(to, from, w * sizeof(E));
}

// The rows of a block of neighbours are copied into a buffer where the neighbours lie W apart,
// transformed there by a one-thread plan, and copied back (divided by n for the inverse); blocks
// run in parallel.
template <class T>
void buffered(const Job<T>& job, fftwPlanCacheInterface<T, kComplexToComplex>* cache, const C<T>* src, C<T>* out) {
    using F = Fftw<T>;
    using FC = typename F::complex;
    const uint64_t n = job.n, stride = job.stride, outer = job.outer;
    const uint64_t W = stride >= kFarStride ? kFarStridedBlock : kStridedBlock;
    Job<T> bufferJob{job.context, n, W, 1, job.sign, 0};
    bufferJob.context.numThreads = 1;
    Buffer<C<T>> probe(size_t(W * n));
    fftw_iodim64 d, how[2];
    bufferJob.dims(d, how, W * n, W * n);
    const int alignment = F::alignment(reinterpret_cast<T*>(probe.data));
    PlanKey key = bufferJob.key(true, alignment, alignment);
    key[3] |= uint64_t(1) << kKeyBufferedBit;
    const PlanOwner<T> plan = planFor<T>(
        cache, bufferJob, probe.data, probe.data, W * n * sizeof(C<T>), W * n * sizeof(C<T>),
        [&](unsigned flags, C<T>* i, C<T>* o) {
            return F::dft(1, &d, 2, how, reinterpret_cast<FC*>(i), reinterpret_cast<FC*>(o), job.sign, flags);
        },
        &key);
    const uint64_t blocks = (stride + W - 1) / W;
    vlcommon::runRange(true, uint64_t(0), blocks * outer, uint64_t(1), [&](const tbb::blocked_range<uint64_t>& r) {
        Buffer<C<T>> buffer(size_t(W * n));
        for (uint64_t t = r.begin(); t < r.end(); ++t) {
            const uint64_t o = t / blocks, s0 = (t % blocks) * W, w = std::min(W, stride - s0);
            const C<T>* from = src + s0 + stride * n * o;
            C<T>* to = out + s0 + stride * n * o;
            for (uint64_t k = 0; k < n; ++k) {
                if (k + kRowsAhead < n) prefetchRow(from + stride * (k + kRowsAhead), w);
                copyRow(buffer.data + W * k, from + stride * k, w);
                if (w < W) std::fill(buffer.data + W * k + w, buffer.data + W * (k + 1), C<T>(0));
            }
            F::execDft(plan.plan, reinterpret_cast<FC*>(buffer.data), reinterpret_cast<FC*>(buffer.data));
            if (job.sign < 0) {
                for (uint64_t k = 0; k < n; ++k) copyRow(to + stride * k, buffer.data + W * k, w);
                continue;
            }
            kernels::loops<T>().divideRows(reinterpret_cast<const T*>(buffer.data), 2 * W, reinterpret_cast<T*>(to),
                                           2 * stride, n, 2 * w, double(n));
        }
    });
}

// The plan over `count` contiguous sequences, n apart, on one thread.
template <class T>
PlanOwner<T> contiguousPlan(const Job<T>& job, fftwPlanCacheInterface<T, kComplexToComplex>* cache, uint64_t count,
                            C<T>* in, C<T>* out) {
    using F = Fftw<T>;
    using FC = typename F::complex;
    Job<T> blockJob = job;
    blockJob.outer = count;
    blockJob.context.numThreads = 1;
    const size_t bytes = size_t(count * job.n) * sizeof(C<T>);
    fftw_iodim64 d, how[2];
    blockJob.dims(d, how, job.n, job.n);
    return planFor<T>(cache, blockJob, in, out, bytes, bytes, [&](unsigned flags, C<T>* i, C<T>* o) {
        return F::dft(1, &d, 2, how, reinterpret_cast<FC*>(i), reinterpret_cast<FC*>(o), job.sign, flags);
    });
}

// The inverse of many contiguous sequences in blocks of `block`: each block transformed by a
// one-thread plan and divided by n while it is in cache; blocks run in parallel.
template <class T>
void blockedInverse(const Job<T>& job, fftwPlanCacheInterface<T, kComplexToComplex>* cache, C<T>* src, C<T>* out,
                    uint64_t block) {
    using FC = typename Fftw<T>::complex;
    const uint64_t n = job.n, outer = job.outer, blocks = outer / block, rest = outer - blocks * block;
    const auto runBlock = [&](const PlanOwner<T>& p, uint64_t first, uint64_t count) {
        T* to = reinterpret_cast<T*>(out + first * n);
        Fftw<T>::execDft(p.plan, reinterpret_cast<FC*>(src + first * n), reinterpret_cast<FC*>(to));
        kernels::loops<T>().divideAll(to, 2 * count * n, double(n));
    };
    const PlanOwner<T> plan = contiguousPlan(job, cache, block, src, out);
    vlcommon::runRange(outer * n >= kParallelElements, uint64_t(0), blocks, uint64_t(1),
                       [&](const tbb::blocked_range<uint64_t>& r) {
                           for (uint64_t b = r.begin(); b < r.end(); ++b) runBlock(plan, b * block, block);
                       });
    if (rest) runBlock(contiguousPlan(job, cache, rest, src + blocks * block * n, out + blocks * block * n),
                       blocks * block, rest);
}

}  // namespace

template <class T>
struct Driver<T, kComplexToComplex> {
    static bool run(const Job<T>& job, fftwPlanCacheInterface<T, kComplexToComplex>* cache, const C<T>* in,
                    C<T>* out, uint64_t inLen) {
        using F = Fftw<T>;
        using FC = typename F::complex;
        const uint64_t n = job.n, stride = job.stride, outer = job.outer;
        // A length that changes is padded or truncated into the output, then transformed in place.
        C<T>* src = const_cast<C<T>*>(in);
        if (inLen != n) {
            restage(in, inLen, out, n, stride, outer);
            src = out;
        }
        if (stride >= 2 * kStridedBlock) {
            buffered(job, cache, src, out);
            return true;
        }
        const uint64_t block = blockColumns<T>(n);
        if (stride == 1 && job.sign > 0 && block != 0 && outer >= 2 * block) {
            blockedInverse(job, cache, src, out, block);
            return true;
        }
        const size_t bytes = size_t(stride * n * outer) * sizeof(C<T>);
        fftw_iodim64 d, how[2];
        job.dims(d, how, stride * n, stride * n);
        const PlanOwner<T> plan =
            planFor<T>(cache, job, src, out, bytes, bytes, [&](unsigned flags, C<T>* i, C<T>* o) {
                return F::dft(1, &d, 2, how, reinterpret_cast<FC*>(i), reinterpret_cast<FC*>(o), job.sign, flags);
            });
        F::execDft(plan.plan, reinterpret_cast<FC*>(src), reinterpret_cast<FC*>(out));
        return false;
    }
};

VL_FFT_INSTANCES(kComplexToComplex)

}  // namespace vfl_fft
