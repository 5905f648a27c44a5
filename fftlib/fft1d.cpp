// veltraFFT1D over FFTW's guru64 interface, on the host's interleaved, strided layout.
//
// Keys: word 0 is n; word 1 the stride; word 2 the count of outer sequences; word 3 packs the
// sign (bit 0), whether the transform runs in place (bit 1), FFTW's alignment of input and output
// (bits 2-9, 10-17), the planner flags (bits 18-25) and the plan's thread count (bits 26-41).
// Every call that needs another plan differs in one of these.
//
// rows: a plan uses the context's threads only for at least `rows` sequences or n of at least
// kThreadedLengthMin; smaller transforms are planned for one thread, which they run faster on.
#include <algorithm>
#include <immintrin.h>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>

#include "fftlib/fft.hpp"
#include "fftlib/plans.hpp"

namespace vfl_fft {

namespace {

constexpr uint64_t kThreadedLengthMin = 1 << 15;

uint64_t flagsCode(int32_t flags) { return uint64_t(uint8_t(flags)); }

unsigned plannerFlagsFor(int32_t flags, uint64_t n) {
    if (flags == kPlannerHybrid) return n <= kHybridMeasureMax ? FFTW_MEASURE : FFTW_ESTIMATE;
    return unsigned(flags);
}

// Buffers of the transform library, freed on every path.
template <class E>
struct Buffer {
    E* data = nullptr;
    explicit Buffer(size_t count) {
        if (count == 0) return;
        data = static_cast<E*>(fftw_malloc(count * sizeof(E)));
        if (!data) throw std::runtime_error("FFTW:nomem");
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() {
        if (data) fftw_free(data);
    }
};

// Offsets scratch so that it has the address of `like` modulo the widest SIMD alignment.
constexpr uintptr_t kAlignmentSpan = 64;
inline char* alignedLike(char* scratch, const void* like) {
    const uintptr_t want = reinterpret_cast<uintptr_t>(like) % kAlignmentSpan;
    const uintptr_t have = reinterpret_cast<uintptr_t>(scratch) % kAlignmentSpan;
    return scratch + (want + kAlignmentSpan - have) % kAlignmentSpan;
}

// Copies sequences from length inLen to length outLen (zero padded or truncated).
template <class E>
void restage(const E* in, uint64_t inLen, E* out, uint64_t outLen, uint64_t stride, uint64_t outer) {
    const uint64_t common = std::min(inLen, outLen);
    for (uint64_t o = 0; o < outer; ++o) {
        const E* src = in + stride * inLen * o;
        E* dst = out + stride * outLen * o;
        std::memcpy(dst, src, sizeof(E) * stride * common);
        std::fill(dst + stride * common, dst + stride * outLen, E(0));
    }
}

template <class T>
struct Job {
    fftwContext context;
    uint64_t n, stride, outer;
    int sign;
    uint64_t width = 0;  // interleaved sequences one plan runs: the stride, or a block of it

    int threads() const {
        const uint64_t t = outer * stride >= context.rows || n >= kThreadedLengthMin ? context.numThreads : 1;
        return int(std::max<uint64_t>(t, 1));
    }

    PlanKey key(bool inPlace, int alignIn, int alignOut) const {
        const uint64_t word3 = uint64_t(sign > 0) | uint64_t(inPlace) << 1 | uint64_t(alignIn & 0xff) << 2 |
                               uint64_t(alignOut & 0xff) << 10 | flagsCode(context.plannerFlags) << 18 |
                               uint64_t(threads() & 0xffff) << 26 | uint64_t(width & 0xffff) << 42;
        return {n, stride, outer, word3};
    }

    // Samples `stride` apart; `stride` interleaved sequences; `outer` blocks inSpan / outSpan apart.
    void dims(fftw_iodim64& d, fftw_iodim64 how[2], uint64_t inSpan, uint64_t outSpan) const {
        d = {ptrdiff_t(n), ptrdiff_t(stride), ptrdiff_t(stride)};
        how[0] = {ptrdiff_t(width ? width : stride), 1, 1};
        how[1] = {ptrdiff_t(outer), ptrdiff_t(inSpan), ptrdiff_t(outSpan)};
    }
};

// FFTW ends the process when one of its own allocations fails. Before it plans a length n (twiddles,
// buffers, Bluestein's padded sequences: a few n), room for 4n complex values is made sure of.
template <class T>
void ensureRoomToPlan(uint64_t n) {
    constexpr uint64_t kPerLength = 4 * sizeof(std::complex<T>);
    if (n > SIZE_MAX / kPerLength) throw std::runtime_error("FFTW:nomem");
    Buffer<char> room(size_t(n * kPerLength));
}

// Finds or makes the plan; `make(flags, in, out)` plans on the given arrays. Returns the plan
// and whether the caller owns it (the cache refused it).
template <class T, int kind, class Make, class In, class Out>
std::pair<PlanOf<T>, bool> planFor(fftwPlanCacheInterface<T, kind>* cache, const Job<T>& job, In* in, Out* out,
                                   size_t inBytes, size_t outBytes, Make make, const PlanKey* keyOverride = nullptr) {
    using F = Fftw<T>;
    const bool inPlace = static_cast<void*>(in) == static_cast<void*>(out);
    const int alignIn = F::alignment(reinterpret_cast<T*>(in)), alignOut = F::alignment(reinterpret_cast<T*>(out));
    const PlanKey key = keyOverride ? *keyOverride : job.key(inPlace, alignIn, alignOut);
    if (cache)
        if (PlanOf<T> plan = cache->find(key)) return {plan, false};
    const unsigned flags = plannerFlagsFor(job.context.plannerFlags, job.n);
    ensureRoomToPlan<T>(job.n);
    PlanOf<T> plan;
    F::threads(job.threads());
    if ((flags & (FFTW_MEASURE | FFTW_PATIENT | FFTW_EXHAUSTIVE)) == 0 && flags != 0) {
        plan = make(flags, in, out);  // estimating never touches the arrays
    } else {
        // Measuring overwrites its arrays: plan on scratch of the same alignment.
        const size_t bytes = std::max(inBytes, outBytes) + kAlignmentSpan;
        Buffer<char> scratchIn(bytes), scratchOut(inPlace ? 0 : bytes);
        char* si = alignedLike(scratchIn.data, in);
        char* so = inPlace ? si : alignedLike(scratchOut.data, out);
        plan = make(flags, reinterpret_cast<In*>(si), reinterpret_cast<Out*>(so));
    }
    if (!plan) throw std::runtime_error("FFTWAssertionFailure");
    countPlanMade();
    const bool kept = cache && cache->insert(key, plan);
    return {plan, !kept};
}

template <class T>
struct PlanOwner {
    PlanOf<T> plan;
    bool owned;
    ~PlanOwner() {
        if (owned && plan) Fftw<T>::destroy(plan);
    }
};

// Complex sequences at least 2 * kStridedBlock apart go in blocks of neighbours through a buffer:
// blocks of kStridedBlock, or kFarStridedBlock when rows lie kFarStride or more apart, where more
// neighbours share each page (measured on 256^3: 4 and 8 beat 16 and 32).
constexpr uint64_t kStridedBlock = 4;
constexpr uint64_t kFarStridedBlock = 8;
constexpr uint64_t kFarStride = 4096;

// Columns of a real-to-complex transform go in blocks of about this many samples.
constexpr uint64_t kBlockElements = 1 << 14;

// Work over sequences of length n goes parallel from this many elements in all.
constexpr uint64_t kParallelElements = 1 << 16;

// Calls body(q) for each of `count` sequences, in parallel when there is enough work.
template <class Body>
void forSequences(uint64_t count, uint64_t n, const Body& body) {
    if (count * n < kParallelElements || count < 2) {
        for (uint64_t q = 0; q < count; ++q) body(q);
        return;
    }
    tbb::parallel_for(tbb::blocked_range<uint64_t>(0, count), [&](const tbb::blocked_range<uint64_t>& r) {
        for (uint64_t q = r.begin(); q < r.end(); ++q) body(q);
    });
}

// dst[j] = conj(src[-j]) for j in [0, count), complex values as pairs of reals.
inline void conjugateReversed(double* dst, const double* src, uint64_t count) {
    const __m128d sign = _mm_set_pd(-0.0, 0.0);  // flips the imaginary part only
    for (uint64_t j = 0; j < count; ++j)
        _mm_storeu_pd(dst + 2 * j, _mm_xor_pd(_mm_loadu_pd(src - ptrdiff_t(2 * j)), sign));
}

inline void conjugateReversed(float* dst, const float* src, uint64_t count) {
    for (uint64_t j = 0; j < count; ++j) {
        dst[2 * j] = src[-ptrdiff_t(2 * j)];
        dst[2 * j + 1] = -src[-ptrdiff_t(2 * j) + 1];
    }
}

// The inverse's 1/n, as a division of each of `reals` values.
template <class R>
void scaleBy(R* p, size_t reals, double n) {
    const R d = R(n);
    constexpr size_t kBlock = 1 << 14;
    forSequences((reals + kBlock - 1) / kBlock, kBlock, [&](uint64_t b) {
        const size_t end = std::min(reals, size_t(b + 1) * kBlock);
        for (size_t i = size_t(b) * kBlock; i < end; ++i) p[i] = p[i] / d;
    });
}

}  // namespace

template <class T, int kind>
void veltraFFT1D(fftwContext context, fftwPlanCacheInterface<T, kind>* cache, const InOf<T, kind>* in,
                 OutOf<T, kind>* out, uint64_t stride, uint64_t n, uint64_t inLen, uint64_t howMany, int sign) {
    using F = Fftw<T>;
    using C = std::complex<T>;
    using FC = typename F::complex;
    if (n == 0 || howMany == 0 || stride == 0) return;
    fftwApi::getInstance();  // threads and the thread-safe planner before the first plan
    const Job<T> job{context, n, stride, howMany / stride, sign};
    const uint64_t outer = job.outer;
    const size_t total = size_t(stride * n * outer);
    fftw_iodim64 d, how[2];

    if constexpr (kind == 2) {
        const C* src = in;
        if (inLen != n) {  // padded or truncated into the output, then in place
            restage(in, inLen, out, n, stride, outer);
            src = out;
        }
        C* srcMutable = const_cast<C*>(src);
        auto planOf = [&](const Job<T>& j, uint64_t offset) {
            fftw_iodim64 jd, jh[2];
            j.dims(jd, jh, stride * n, stride * n);
            return planFor<T, kind>(cache, j, srcMutable + offset, out + offset, total * sizeof(C), total * sizeof(C),
                                    [&](unsigned flags, C* i, C* o) {
                                        return F::dft(1, &jd, 2, jh, reinterpret_cast<FC*>(i), reinterpret_cast<FC*>(o),
                                                      sign, flags);
                                    });
        };
        if (stride >= 2 * kStridedBlock) {
            // Widely strided sequences: the rows of a block of neighbours are copied into a small
            // buffer where the neighbours lie W apart, transformed there by a one-thread plan, and
            // copied back; blocks run in parallel.
            const uint64_t W = stride >= kFarStride ? kFarStridedBlock : kStridedBlock;
            Job<T> bufferJob{job.context, n, W, 1, sign, 0};
            bufferJob.context.numThreads = 1;
            Buffer<C> probe(size_t(W * n));
            fftw_iodim64 bd, bh[2];
            bufferJob.dims(bd, bh, W * n, W * n);
            PlanKey key = bufferJob.key(true, F::alignment(reinterpret_cast<T*>(probe.data)),
                                        F::alignment(reinterpret_cast<T*>(probe.data)));
            key[3] |= uint64_t(1) << 58;  // the buffered form
            auto [plan, owned] = planFor<T, kind>(
                cache, bufferJob, probe.data, probe.data, W * n * sizeof(C), W * n * sizeof(C),
                [&](unsigned flags, C* i, C* o) {
                    return F::dft(1, &bd, 2, bh, reinterpret_cast<FC*>(i), reinterpret_cast<FC*>(o), sign, flags);
                },
                &key);
            PlanOwner<T> guard{plan, owned};
            const uint64_t blocks = (stride + W - 1) / W;
            tbb::parallel_for(tbb::blocked_range<uint64_t>(0, blocks * outer), [&](const tbb::blocked_range<uint64_t>& r) {
                Buffer<C> buffer(size_t(W * n));
                for (uint64_t t = r.begin(); t < r.end(); ++t) {
                    const uint64_t o = t / blocks, s0 = (t % blocks) * W, w = std::min(W, stride - s0);
                    const C* from = srcMutable + s0 + stride * n * o;
                    C* to = out + s0 + stride * n * o;
                    for (uint64_t k = 0; k < n; ++k) {
                        std::memcpy(buffer.data + W * k, from + stride * k, w * sizeof(C));
                        std::fill(buffer.data + W * k + w, buffer.data + W * (k + 1), C(0));
                    }
                    F::execDft(plan, reinterpret_cast<FC*>(buffer.data), reinterpret_cast<FC*>(buffer.data));
                    for (uint64_t k = 0; k < n; ++k) std::memcpy(to + stride * k, buffer.data + W * k, w * sizeof(C));
                }
            });
        } else {
            auto [plan, owned] = planOf(job, 0);
            PlanOwner<T> guard{plan, owned};
            F::execDft(plan, reinterpret_cast<FC*>(srcMutable), reinterpret_cast<FC*>(out));
        }
        if (sign > 0) scaleBy(reinterpret_cast<T*>(out), 2 * total, double(n));
    } else if constexpr (kind == 0) {
        std::unique_ptr<Buffer<T>> staged;
        const T* src = in;
        if (inLen != n || static_cast<const void*>(in) == static_cast<const void*>(out)) {
            staged = std::make_unique<Buffer<T>>(total);
            restage(in, inLen, staged->data, n, stride, outer);
            src = staged->data;
        }
        T* srcMutable = const_cast<T*>(src);
        // Fills the other half of sequences [first, first + count) of one block by conjugate symmetry.
        auto fill = [&](uint64_t q) {
            C* v = out + q % stride + stride * n * (q / stride);
            T* r = reinterpret_cast<T*>(v);
            const uint64_t from = n / 2 + 1;
            if (stride == 1) {  // contiguous: a reversed copy
                conjugateReversed(r + 2 * from, r + 2 * (n - from), n - from);
                return;
            }
            for (uint64_t k = from; k < n; ++k) {
                r[2 * stride * k] = r[2 * stride * (n - k)];
                r[2 * stride * k + 1] = -r[2 * stride * (n - k) + 1];
            }
        };
        // Many contiguous columns run in blocks, each transformed and filled while it is in cache.
        const uint64_t block = std::max<uint64_t>(1, kBlockElements / n);
        if (stride == 1 && outer >= 2 * block) {
            Job<T> blockJob = job;
            blockJob.outer = block;
            blockJob.context.numThreads = 1;
            auto planOf = [&](const Job<T>& j, uint64_t offset) {
                fftw_iodim64 bd, bh[2];
                j.dims(bd, bh, n, n);
                return planFor<T, kind>(cache, j, srcMutable + offset, out + offset, j.outer * n * sizeof(T),
                                        j.outer * n * sizeof(C), [&](unsigned flags, T* i, C* o) {
                                            return F::r2c(1, &bd, 2, bh, i, reinterpret_cast<FC*>(o),
                                                          flags | FFTW_PRESERVE_INPUT);
                                        });
            };
            auto [plan, owned] = planOf(blockJob, 0);
            PlanOwner<T> guard{plan, owned};
            const uint64_t blocks = outer / block;
            forSequences(blocks, block * n, [&](uint64_t b) {
                F::execR2c(plan, srcMutable + b * block * n, reinterpret_cast<FC*>(out + b * block * n));
                for (uint64_t q = b * block; q < (b + 1) * block; ++q) fill(q);
            });
            if (const uint64_t rest = outer - blocks * block) {
                Job<T> restJob = blockJob;
                restJob.outer = rest;
                auto [tail, tailOwned] = planOf(restJob, blocks * block * n);
                PlanOwner<T> tailGuard{tail, tailOwned};
                F::execR2c(tail, srcMutable + blocks * block * n, reinterpret_cast<FC*>(out + blocks * block * n));
                for (uint64_t q = blocks * block; q < outer; ++q) fill(q);
            }
        } else {
            job.dims(d, how, stride * n, stride * n);
            auto [plan, owned] = planFor<T, kind>(cache, job, srcMutable, out, total * sizeof(T), total * sizeof(C),
                                                  [&](unsigned flags, T* i, C* o) {
                                                      return F::r2c(1, &d, 2, how, i, reinterpret_cast<FC*>(o),
                                                                    flags | FFTW_PRESERVE_INPUT);
                                                  });
            PlanOwner<T> guard{plan, owned};
            F::execR2c(plan, srcMutable, reinterpret_cast<FC*>(out));
            forSequences(outer * stride, n, fill);
        }
        if (sign > 0) scaleBy(reinterpret_cast<T*>(out), 2 * total, double(n));
    } else {
        // FFTW's complex-to-real pass destroys its input: it reads a staged copy of the first half.
        const uint64_t half = n / 2 + 1;
        Buffer<C> staged(size_t(stride * half * outer));
        for (uint64_t o = 0; o < outer; ++o) {
            const C* srcSeq = in + stride * inLen * o;
            C* dst = staged.data + stride * half * o;
            const uint64_t common = std::min(half, inLen);
            std::memcpy(dst, srcSeq, sizeof(C) * stride * common);
            std::fill(dst + stride * common, dst + stride * half, C(0));
        }
        job.dims(d, how, stride * half, stride * n);
        auto [plan, owned] = planFor<T, kind>(cache, job, staged.data, out, size_t(stride * half * outer) * sizeof(C),
                                              total * sizeof(T), [&](unsigned flags, C* i, T* o) {
                                                  return F::c2r(1, &d, 2, how, reinterpret_cast<FC*>(i), o, flags);
                                              });
        PlanOwner<T> guard{plan, owned};
        F::execC2r(plan, reinterpret_cast<FC*>(staged.data), out);
        if (sign > 0) scaleBy(out, total, double(n));
    }
}

#define VL_FFT_INSTANCE(T, kind)                                                                             \
    template void veltraFFT1D<T, kind>(fftwContext, fftwPlanCacheInterface<T, kind>*, const InOf<T, kind>*, \
                                       OutOf<T, kind>*, uint64_t, uint64_t, uint64_t, uint64_t, int);
VL_FFT_INSTANCE(float, 0)
VL_FFT_INSTANCE(float, 1)
VL_FFT_INSTANCE(float, 2)
VL_FFT_INSTANCE(double, 0)
VL_FFT_INSTANCE(double, 1)
VL_FFT_INSTANCE(double, 2)
#undef VL_FFT_INSTANCE

}  // namespace vfl_fft
