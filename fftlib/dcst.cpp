// Cosine and sine transforms: types I and IV as FFTW's REDFT and RODFT kinds scaled to be
// orthonormal, types II and III through a real FFT (dct_by_fft.cpp). A complex array is a real
// one of twice the stride, its real and imaginary parts neighbouring sequences.
#include <cmath>

#include "fftlib/dct_by_fft.hpp"
#include "fftlib/driver.hpp"

namespace vfl_fft {

namespace {

constexpr fftw_r2r_kind kFftwKinds[8] = {FFTW_REDFT00, FFTW_REDFT10, FFTW_REDFT01, FFTW_REDFT11,
                                         FFTW_RODFT00, FFTW_RODFT10, FFTW_RODFT01, FFTW_RODFT11};

// Sequences at least this many reals apart go through a buffer in blocks of kBufferedBlock
// neighbours (rows of 1024 x 1024: 16 beat 4, 8 and 32).
constexpr uint64_t kBufferedStride = 8;
constexpr uint64_t kBufferedBlock = 16;

// FFTW's kinds are unnormalised. Types I and IV become orthonormal when every output is multiplied
// by 1 / sqrt(2 N), N the logical length (n - 1 for DCT-I, n + 1 for DST-I, n for type IV). The even
// extension of DCT-I counts x[0] and x[n-1] once where it counts the others twice: those inputs are
// multiplied by sqrt 2 first, and y[0] and y[n-1] by 1 / sqrt 2 more.
template <class T>
struct Weights {
    bool edges;     // x[0] and x[n-1] are weighed
    T end, interior;  // factors of y[0] and y[n-1], and of the others
};

template <class T>
Weights<T> weightsOf(int kind, uint64_t n) {
    const double logical = kind == kDct1 ? double(n - 1) : kind == kDst1 ? double(n + 1) : double(n);
    const double s = 1.0 / std::sqrt(2.0 * logical), edge = s / std::sqrt(2.0);
    const bool edges = kind == kDct1;
    return {edges, T(edges ? edge : s), T(s)};
}

// Multiplies rows 0 and n-1 of each of `outer` blocks (rs values a row) by sqrt 2, for DCT-I
// (n >= 2).
template <class T>
void weighInputs(const Weights<T>& w, T* data, uint64_t rs, uint64_t n, uint64_t outer) {
    if (!w.edges) return;
    const T root2 = T(std::sqrt(2.0));
    forSequences(outer, rs, [&](uint64_t o) {
        T* block = data + rs * n * o;
        for (uint64_t s = 0; s < rs; ++s) {
            block[s] *= root2;
            block[rs * (n - 1) + s] *= root2;
        }
    });
}

// Scales every output row by its factor, in blocks of elements split where the factor changes.
template <class T>
void weighOutputs(const Weights<T>& w, T* out, uint64_t rs, uint64_t n, uint64_t outer) {
    const uint64_t span = rs * n, total = span * outer;
    forSequences((total + kScaleBlock - 1) / kScaleBlock, kScaleBlock, [&](uint64_t b) {
        const uint64_t end = std::min<uint64_t>(total, (b + 1) * kScaleBlock);
        for (uint64_t i = b * kScaleBlock; i < end;) {
            const uint64_t base = i / span * span, local = i - base;
            T f;
            uint64_t stop;
            if (local < rs) f = w.end, stop = rs;
            else if (local < span - rs) f = w.interior, stop = span - rs;
            else f = w.end, stop = span;
            stop = std::min(end, base + stop);
            kernels::loops<T>().scaleAll(out + i, stop - i, f);
            i = stop;
        }
    });
}

template <class T, int kind, class Cache>
PlanOwner<T> r2rPlan(Cache* cache, const Job<T>& job, T* in, T* out, uint64_t inSpan, uint64_t outSpan,
                     const PlanKey* key = nullptr) {
    fftw_iodim64 d, how[2];
    job.dims(d, how, inSpan, outSpan);
    const size_t inBytes = size_t(inSpan * job.outer) * sizeof(T), outBytes = size_t(outSpan * job.outer) * sizeof(T);
    return planFor<T>(
        cache, job, in, out, inBytes, outBytes,
        [&](unsigned flags, T* i, T* o) { return Fftw<T>::r2r(1, &d, 2, how, i, o, &kFftwKinds[kind], flags); }, key);
}

// Blocks of W neighbouring sequences are copied into a buffer (padded or truncated there), weighed,
// transformed in place by a one-thread plan, and copied back scaled; blocks run in parallel.
template <class T, int kind>
void buffered(const Job<T>& job, dcstPlanCacheInterface<T, kind>* cache, const T* in, T* out, uint64_t inLen,
              const Weights<T>& w) {
    const uint64_t n = job.n, stride = job.stride, outer = job.outer, W = kBufferedBlock;
    const uint64_t common = std::min(inLen, n);
    Job<T> bufferJob{job.context, n, W, 1, job.sign, 0};
    bufferJob.context.numThreads = 1;
    Buffer<T> probe(size_t(W * n));
    const int alignment = Fftw<T>::alignment(probe.data);
    PlanKey key = bufferJob.key(true, alignment, alignment);
    key[3] |= uint64_t(1) << kKeyBufferedBit;
    const PlanOwner<T> plan = r2rPlan<T, kind>(cache, bufferJob, probe.data, probe.data, W * n, W * n, &key);
    const uint64_t blocks = (stride + W - 1) / W;
    vlcommon::runRange(true, uint64_t(0), blocks * outer, uint64_t(1), [&](const tbb::blocked_range<uint64_t>& r) {
        Buffer<T> buffer(size_t(W * n));
        T* b = buffer.data;
        for (uint64_t t = r.begin(); t < r.end(); ++t) {
            const uint64_t o = t / blocks, s0 = (t % blocks) * W, width = std::min(W, stride - s0);
            const T* from = in + s0 + stride * inLen * o;
            T* to = out + s0 + stride * n * o;
            for (uint64_t k = 0; k < common; ++k) {
                std::memcpy(b + W * k, from + stride * k, width * sizeof(T));
                std::fill(b + W * k + width, b + W * (k + 1), T(0));
            }
            std::fill(b + W * common, b + W * n, T(0));
            weighInputs(w, b, W, n, 1);
            Fftw<T>::execR2r(plan.plan, b, b);
            for (uint64_t k = 0; k < n; ++k) {
                const T f = k == 0 || k == n - 1 ? w.end : w.interior;
                for (uint64_t j = 0; j < width; ++j) to[stride * k + j] = b[W * k + j] * f;
            }
        }
    });
}

}  // namespace

template <class T, int kind>
void veltraDCST1D(fftwContext context, dcstPlanCacheInterface<T, kind>* cache, const T* in, T* out, uint64_t stride,
                  uint64_t n, uint64_t inLen, uint64_t howMany, int, bool isComplex) {
    if (n == 0 || howMany == 0 || stride == 0) return;
    if (kind == kDct1 && n < 2) throw std::runtime_error("FFTWAssertionFailure");
    fftwApi::getInstance();  // threads and the thread-safe planner before the first plan
    const uint64_t rs = isComplex ? 2 * stride : stride;
    // The kind, not the sign, tells the plan: every job is keyed as a forward one.
    const SerialPieces serial(context.numThreads <= 1);
    const Job<T> job{piecesContext(context), n, rs, howMany / stride, -1};
    if constexpr (runsByFft<kind>) return dctByFft<T, kind>(job, cache, in, out, inLen);
    const Weights<T> w = weightsOf<T>(kind, n);
    if (rs >= kBufferedStride) return buffered<T, kind>(job, cache, in, out, inLen, w);
    // A length that changes, or inputs to weigh, go through the output first: the plan runs in place.
    T* src = const_cast<T*>(in);
    if (inLen != n || (w.edges && in != out)) {
        restage(in, inLen, out, n, rs, job.outer);
        src = out;
    }
    weighInputs(w, src, rs, n, job.outer);
    const PlanOwner<T> plan = r2rPlan<T, kind>(cache, job, src, out, rs * n, rs * n);
    Fftw<T>::execR2r(plan.plan, src, out);
    weighOutputs(w, out, rs, n, job.outer);
}

#define VL_DCST_INSTANCES(kind)                                                                                    \
    template void veltraDCST1D<float, kind>(fftwContext, dcstPlanCacheInterface<float, kind>*, const float*, float*, \
                                            uint64_t, uint64_t, uint64_t, uint64_t, int, bool);                   \
    template void veltraDCST1D<double, kind>(fftwContext, dcstPlanCacheInterface<double, kind>*, const double*,    \
                                             double*, uint64_t, uint64_t, uint64_t, uint64_t, int, bool);

VL_DCST_INSTANCES(kDct1)
VL_DCST_INSTANCES(kDct2)
VL_DCST_INSTANCES(kDct3)
VL_DCST_INSTANCES(kDct4)
VL_DCST_INSTANCES(kDst1)
VL_DCST_INSTANCES(kDst2)
VL_DCST_INSTANCES(kDst3)
VL_DCST_INSTANCES(kDst4)

}  // namespace vfl_fft
