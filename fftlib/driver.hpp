// What the three transform drivers share: the job, its cache key, planning, buffers, the one
// routine that pads or truncates sequences, and the inverse's scaling. Internal to the library.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <typeinfo>
#include <utility>

#include "common/parallel_range.hpp"
#include "fftlib/fft.hpp"
#include "fftlib/kernels/loops.hpp"
#include "fftlib/plans.hpp"
#include "fftlib/refused_plans.hpp"

namespace vfl_fft {

// A plan uses the context's threads for at least `rows` sequences or a length of at least this;
// smaller transforms run faster on the one thread they are planned for (one complex sequence,
// 2 threads: 2^14 points 0.15 ms threaded, 0.11 ms not; 2^18 points 1.7 ms threaded, 3.0 ms not).
constexpr uint64_t kThreadedLengthMin = 1 << 15;
// FFTW splits a threaded plan's work into as many pieces as it is planned for threads, and which
// plan it picks depends on that number: every threaded plan is made for this many pieces, whatever
// the thread count, so that the count never changes a result. The count only says where the
// pieces run: one after another for a context of one thread, else as tasks on the host's threads.
constexpr uint64_t kPlanPieces = 8;

// The caller's context with the plans' pieces in place of its thread count.
inline fftwContext piecesContext(fftwContext context) {
    context.numThreads = kPlanPieces;
    return context;
}

// Copies and scaling over sequences go parallel from this many elements in all, where the loop
// outlasts starting a parallel region.
constexpr uint64_t kParallelElements = 1 << 16;
// Buffers of the transform library, at the widest SIMD alignment (so that a plan made on one
// runs every other with the same codelets), freed on every path.
template <class E>
struct Buffer {
    E* data = nullptr;
    explicit Buffer(size_t count) {
        if (count == 0) return;
        if (count > SIZE_MAX / sizeof(E)) throw std::runtime_error("FFTW:nomem");
        void* p = nullptr;
        if (posix_memalign(&p, kAlignmentSpan, count * sizeof(E)) != 0) throw std::runtime_error("FFTW:nomem");
        data = static_cast<E*>(p);
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() { std::free(data); }
};

// Scratch is offset to the address of the array it stands for modulo the widest SIMD alignment.

inline char* alignedLike(char* scratch, const void* like) {
    const uintptr_t want = reinterpret_cast<uintptr_t>(like) % kAlignmentSpan;
    const uintptr_t have = reinterpret_cast<uintptr_t>(scratch) % kAlignmentSpan;
    return scratch + (want + kAlignmentSpan - have) % kAlignmentSpan;
}

// Copies `outer` blocks of `stride` interleaved sequences from length inLen to outLen, zero
// padded or truncated. The one place where lengths change.
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

// Cache keys. Word 0 is n, word 1 the stride, word 2 the count of outer blocks. Word 3:
//   bit 0       the sign is +1 (inverse)
//   bit 1       in place
//   bits 2-9    the input's address modulo kAlignmentSpan, bits 10-17 the output's
//   bits 18-25  the planner flags, low byte (kPlannerHybrid is 0xff)
//   bits 26-41  the plan's thread count
//   bits 42-57  the interleaved sequences one plan runs, when not the stride (0 otherwise)
//   bit 58      the buffered form of widely strided complex sequences
//   bit 59      a real-to-complex output kept to its first half
//   bit 60      buffered lanes padded by a cache line
// Every call that needs another plan differs in one of these.
constexpr unsigned kKeySignBit = 0, kKeyInPlaceBit = 1, kKeyAlignInShift = 2, kKeyAlignOutShift = 10,
                   kKeyFlagsShift = 18, kKeyThreadsShift = 26, kKeyWidthShift = 42, kKeyBufferedBit = 58,
                   kKeyHalfBit = 59, kKeyPaddedBit = 60;

template <class T>
struct Job {
    fftwContext context;
    uint64_t n, stride, outer;
    int sign;
    uint64_t width = 0;  // interleaved sequences one plan runs: the stride, or a block of it
    bool half = false;   // a real-to-complex output of n / 2 + 1 frequencies, not filled to n

    uint64_t outLen() const { return half ? n / 2 + 1 : n; }

    int threads() const {
        const uint64_t t = outer * stride >= context.rows || n >= kThreadedLengthMin ? context.numThreads : 1;
        return int(std::max<uint64_t>(t, 1));
    }

    PlanKey key(bool inPlace, int alignIn, int alignOut) const {
        const uint64_t word3 = uint64_t(sign > 0) << kKeySignBit | uint64_t(inPlace) << kKeyInPlaceBit |
                               uint64_t(alignIn & 0xff) << kKeyAlignInShift |
                               uint64_t(alignOut & 0xff) << kKeyAlignOutShift |
                               uint64_t(uint8_t(context.plannerFlags)) << kKeyFlagsShift |
                               uint64_t(threads() & 0xffff) << kKeyThreadsShift | uint64_t(width & 0xffff) << kKeyWidthShift |
                               uint64_t(half) << kKeyHalfBit;
        return {n, stride, outer, word3};
    }

    // Samples `stride` apart; `stride` interleaved sequences (or `width`); `outer` blocks
    // inSpan / outSpan apart.
    void dims(fftw_iodim64& d, fftw_iodim64 how[2], uint64_t inSpan, uint64_t outSpan) const {
        d = {ptrdiff_t(n), ptrdiff_t(stride), ptrdiff_t(stride)};
        how[0] = {ptrdiff_t(width ? width : stride), 1, 1};
        how[1] = {ptrdiff_t(outer), ptrdiff_t(inSpan), ptrdiff_t(outSpan)};
    }
};

inline unsigned plannerFlagsFor(int32_t flags, uint64_t n) {
    if (flags == kPlannerHybrid) return n <= kHybridMeasureMax ? FFTW_MEASURE : FFTW_ESTIMATE;
    return unsigned(flags);
}

// FFTW ends the process when one of its own allocations fails. Before it plans a length n (twiddles,
// buffers, Bluestein's padded sequences: a few n), room for 4n complex values is made sure of.
template <class T>
void ensureRoomToPlan(uint64_t n) {
    constexpr uint64_t kPerLength = 4 * sizeof(std::complex<T>);
    if (n > SIZE_MAX / kPerLength) throw std::runtime_error("FFTW:nomem");
    Buffer<char> room(size_t(n * kPerLength));
}

// A plan, destroyed at the end of the call when neither the cache nor the refused plans keep it.
template <class T>
struct PlanOwner {
    PlanOwner(PlanOf<T> p, bool o) : plan(p), owned(o) {}
    explicit PlanOwner(std::shared_ptr<HeldPlan<T>> h) : plan(h->plan), owned(false), held(std::move(h)) {}
    PlanOwner(const PlanOwner&) = delete;
    PlanOwner& operator=(const PlanOwner&) = delete;
    ~PlanOwner() {
        if (owned && plan) Fftw<T>::destroy(plan);
    }
    PlanOf<T> plan;
    bool owned;
    std::shared_ptr<HeldPlan<T>> held;
};

// Finds or makes the plan in the cache (either family's interface); `make(flags, in, out)` plans
// on the given arrays. The caller owns the plan when the cache refused it.
template <class T, class Cache, class Make, class In, class Out>
PlanOwner<T> planFor(Cache* cache, const Job<T>& job, In* in, Out* out, size_t inBytes,
                     size_t outBytes, Make make, const PlanKey* keyOverride = nullptr) {
    using F = Fftw<T>;
    const bool inPlace = static_cast<void*>(in) == static_cast<void*>(out);
    const int alignIn = F::alignment(reinterpret_cast<T*>(in)), alignOut = F::alignment(reinterpret_cast<T*>(out));
    const PlanKey key = keyOverride ? *keyOverride : job.key(inPlace, alignIn, alignOut);
    const size_t family = typeid(Cache).hash_code();
    if (cache) {
        if (PlanOf<T> plan = cache->find(key)) return {plan, false};
        if (auto held = RefusedPlans<T>::instance().find(family, key)) {
            if (!cache->insert(key, held->plan)) return PlanOwner<T>(std::move(held));
            RefusedPlans<T>::instance().adopted(family, key);
            return {held->plan, false};
        }
    }
    const unsigned flags = plannerFlagsFor(job.context.plannerFlags, job.n);
    ensureRoomToPlan<T>(job.n);
    PlanOf<T> plan;
    if ((flags & (FFTW_MEASURE | FFTW_PATIENT | FFTW_EXHAUSTIVE)) == 0 && flags != 0) {
        FftwLock lock;  // the thread count is the planner's global setting: set and used under one lock
        F::threads(job.threads());
        plan = make(flags, in, out);  // estimating never touches the arrays
    } else {
        // Measuring overwrites its arrays: plan on scratch of the same alignment.
        const size_t bytes = std::max(inBytes, outBytes) + kAlignmentSpan;
        Buffer<char> scratchIn(bytes), scratchOut(inPlace ? 0 : bytes);
        char* si = alignedLike(scratchIn.data, in);
        char* so = inPlace ? si : alignedLike(scratchOut.data, out);
        FftwLock lock;
        F::threads(job.threads());
        plan = make(flags, reinterpret_cast<In*>(si), reinterpret_cast<Out*>(so));
    }
    if (!plan) throw std::runtime_error("FFTWAssertionFailure");
    countPlanMade();
    if (!cache) return {plan, true};
    if (cache->insert(key, plan)) return {plan, false};
    return PlanOwner<T>(RefusedPlans<T>::instance().keep(family, key, plan));
}

// Rows of strided sequences lie pages apart, where the hardware's prefetchers do not follow: a
// gather asks for the row kRowsAhead ahead of the one it copies (1024 rows 8 KiB apart: 8 ahead
// 2.3 ms, 16 ahead 2.2 ms for the face's rfftn of 1024^2).
constexpr uint64_t kRowsAhead = 16;
template <class E>
inline void prefetchRow(const E* row, uint64_t w) {
    constexpr uint64_t kLine = 64;
    const char* p = reinterpret_cast<const char*>(row);
    for (uint64_t b = 0; b < w * sizeof(E); b += kLine) __builtin_prefetch(p + b);
}

// Rows 0 .. count-1 of w neighbouring sequences, `stride` apart from `from`, into w contiguous
// lanes of `lane` samples each; the lanes are zero past `count`.
template <class E>
void rowsToLanes(const E* from, uint64_t stride, uint64_t count, E* lanes, uint64_t lane, uint64_t w) {
    for (uint64_t k = 0; k < count; ++k) {
        if (k + kRowsAhead < count) prefetchRow(from + stride * (k + kRowsAhead), w);
        for (uint64_t j = 0; j < w; ++j) lanes[lane * j + k] = from[stride * k + j];
    }
    for (uint64_t j = 0; j < w; ++j) std::fill(lanes + lane * j + count, lanes + lane * (j + 1), E(0));
}

// Contiguous real sequences go in blocks of about this many samples, which stay in L2 while they
// are transformed and filled or scaled (64 x 20000 and 1000 x 1000: 2^12 and 2^14 alike, 2^16
// about 20 % slower).
constexpr uint64_t kBlockElements = 1 << 14;
// Blocks are whole multiples of this many sequences, so that every block starts at the alignment
// the plan was made for (8 doubles or 16 floats: 64 bytes).
constexpr uint64_t kBlockColumnsMultiple = 8;

// Sequences of length n in a block; 0 when n alone fills it.
template <class T>
uint64_t blockColumns(uint64_t n) {
    const uint64_t multiple = kBlockColumnsMultiple * 8 / sizeof(T);
    return kBlockElements / n / multiple * multiple;
}

// FFTW's estimated real-to-complex plans of a power of two from 2^17 up run 1.2 to 2.3 times
// faster in place than out of place (2^20: 4.0 against 6.2 ms on one thread); other lengths go
// either way, and complex-to-real ones run faster out of place.
inline bool realForwardInPlace(uint64_t n) { return n >= (uint64_t(1) << 17) && (n & (n - 1)) == 0; }

// The plan over `lanes` contiguous real sequences of length job.n and their half spectra (real to
// complex when `forward`, else back), for blocks copied into the transform library's buffers. It
// runs on `threads` threads when it has one lane, else on one: FFTW plans a threaded plan's pieces
// each at its own address (a piece's lanes at theirs) and remembers their plans by 16-byte
// alignment only, while its codelets depend on 32-byte alignment, so pieces of lanes would run
// whatever an earlier plan of another alignment left. Its key has the buffered bit and the lane
// count as the stride. In place (forward only), lane j's samples start at real 2 (n/2 + 1) j and
// its spectrum overwrites them.
// Lanes of a power-of-two length lie a power of two apart, and so on the same few sets of the
// first-level cache: a transpose into or out of them then misses at every row. A cache line
// between lanes spreads them over the sets.
template <class E>
constexpr uint64_t kLanePad = 64 / sizeof(E);

template <class T, class Cache>
PlanOwner<T> realLanesPlan(Cache* cache, const Job<T>& job, uint64_t lanes, bool forward, uint64_t threads,
                           bool inPlace = false, bool padded = false) {
    using F = Fftw<T>;
    using FC = typename F::complex;
    using C = std::complex<T>;
    const uint64_t n = job.n, half = n / 2 + 1;
    const uint64_t realLane = n + (padded ? kLanePad<T> : 0), complexLane = half + (padded ? kLanePad<C> : 0);
    Job<T> laneJob{job.context, n, lanes, 1, job.sign, 0};
    laneJob.context.numThreads = lanes > 1 ? 1 : threads;
    Buffer<T> probeReal(1), probeComplex(2);
    const int alignment = F::alignment(probeReal.data);
    PlanKey key = laneJob.key(inPlace, alignment, alignment);
    key[3] |= uint64_t(1) << kKeyBufferedBit | uint64_t(padded) << kKeyPaddedBit;
    const size_t realBytes = size_t(lanes * realLane) * sizeof(T), complexBytes = size_t(lanes * complexLane) * sizeof(C);
    const fftw_iodim64 d{ptrdiff_t(n), 1, 1};
    C* spectrum = reinterpret_cast<C*>(probeComplex.data);
    if (forward) {
        const fftw_iodim64 how{ptrdiff_t(lanes), ptrdiff_t(inPlace ? 2 * complexLane : realLane), ptrdiff_t(complexLane)};
        return planFor<T>(
            cache, laneJob, inPlace ? probeComplex.data : probeReal.data, spectrum, complexBytes, complexBytes,
            [&](unsigned flags, T* i, C* o) {
                return F::r2c(1, &d, 1, &how, i, reinterpret_cast<FC*>(o), flags | FFTW_DESTROY_INPUT);
            },
            &key);
    }
    const fftw_iodim64 how{ptrdiff_t(lanes), ptrdiff_t(complexLane), ptrdiff_t(realLane)};
    return planFor<T>(
        cache, laneJob, spectrum, probeReal.data, complexBytes, realBytes,
        [&](unsigned flags, C* i, T* o) {
            return F::c2r(1, &d, 1, &how, reinterpret_cast<FC*>(i), o, flags | FFTW_DESTROY_INPUT);
        },
        &key);
}

// body(q) for each of `count` sequences of length n, in parallel when there is enough work.
template <class Body>
void forSequences(uint64_t count, uint64_t n, const Body& body) {
    vlcommon::forEachIndex(count >= 2 && count * n >= kParallelElements, uint64_t(0), count, uint64_t(1), body);
}

// The inverse's 1/n over `reals` values, in blocks of kScaleBlock.
constexpr size_t kScaleBlock = 1 << 14;
template <class R>
void scaleBy(R* p, size_t reals, double n) {
    forSequences((reals + kScaleBlock - 1) / kScaleBlock, kScaleBlock, [&](uint64_t b) {
        const size_t begin = size_t(b) * kScaleBlock;
        kernels::loops<R>().divideAll(p + begin, std::min(reals - begin, kScaleBlock), n);
    });
}

// One driver per kind: run(job, cache, in, out, inLen) transforms job.outer blocks and returns
// whether it applied the inverse's 1/n itself (while the data was in cache); else it is a pass of
// its own.
template <class T, int kind>
struct Driver;

template <class T, int kind>
void veltraFFT1D(fftwContext context, fftwPlanCacheInterface<T, kind>* cache, const InOf<T, kind>* in,
                 OutOf<T, kind>* out, uint64_t stride, uint64_t n, uint64_t inLen, uint64_t howMany, int sign) {
    if (n == 0 || howMany == 0 || stride == 0) return;
    fftwApi::getInstance();  // threads and the thread-safe planner before the first plan
    const SerialPieces serial(context.numThreads <= 1);
    const Job<T> job{piecesContext(context), n, stride, howMany / stride, sign};
    const bool scaled = Driver<T, kind>::run(job, cache, in, out, inLen);
    const size_t reals = size_t(stride * n * job.outer) * (kind == kComplexToReal ? 1 : 2);
    if (sign > 0 && !scaled) scaleBy(reinterpret_cast<T*>(out), reals, double(n));
}

#define VL_FFT_INSTANCES(kind)                                                                                  \
    template void veltraFFT1D<float, kind>(fftwContext, fftwPlanCacheInterface<float, kind>*,                \
                                           const InOf<float, kind>*, OutOf<float, kind>*, uint64_t, uint64_t,  \
                                           uint64_t, uint64_t, int);                                           \
    template void veltraFFT1D<double, kind>(fftwContext, fftwPlanCacheInterface<double, kind>*,              \
                                            const InOf<double, kind>*, OutOf<double, kind>*, uint64_t, uint64_t, \
                                            uint64_t, uint64_t, int);

}  // namespace vfl_fft
