// DCT-II as one real FFT of the same length: the even samples in order, then the odd ones in
// reverse, are transformed, and outputs k and n-k both come from V[k] times e^{-i pi k / 2n}.
// DCT-III runs the same steps backwards. A sine kind is the cosine kind of the input with every
// other sign flipped and the order of the coefficients reversed (DST-II), or of the reversed
// coefficients with every other output sign flipped (DST-III).
#include <cmath>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

#include "fftlib/dct_by_fft.hpp"

namespace vfl_fft {

namespace {

// Sequences go through the buffers in blocks of up to kLanes interleaved lanes, about
// kBlockReals samples a block, so that a block stays in L2 through its three passes.
constexpr uint64_t kLanes = 16;
constexpr uint64_t kBlockReals = 1 << 13;
// The tables of all lengths together stay below this many bytes; past it they are all dropped.
constexpr size_t kTwiddleBytesMax = size_t(64) << 20;

// 2 f cos(pi k / 2n) and 2 f sin(pi k / 2n) for k = 0 .. n/2, interleaved, with f = 1 / sqrt(2n)
// the orthonormal scale; `first` is y[0]'s factor 1 / sqrt(n).
template <class T>
struct Twiddles {
    std::vector<T> cs;
    T first;
};

template <class T>
std::shared_ptr<const Twiddles<T>> twiddlesOf(uint64_t n) {
    static std::mutex mutex;
    static std::map<uint64_t, std::shared_ptr<const Twiddles<T>>> kept;
    static size_t keptBytes = 0;
    {
        std::lock_guard<std::mutex> lock(mutex);
        const auto it = kept.find(n);
        if (it != kept.end()) return it->second;
    }
    auto t = std::make_shared<Twiddles<T>>();
    const uint64_t half = n / 2;
    t->cs.resize(size_t(2 * (half + 1)));
    const double f = 2.0 / std::sqrt(2.0 * double(n));
    for (uint64_t k = 0; k <= half; ++k) {
        const double angle = M_PI * double(k) / (2.0 * double(n));
        t->cs[2 * k] = T(f * std::cos(angle));
        t->cs[2 * k + 1] = T(f * std::sin(angle));
    }
    t->first = T(1.0 / std::sqrt(double(n)));
    const size_t bytes = t->cs.size() * sizeof(T);
    std::lock_guard<std::mutex> lock(mutex);
    if (keptBytes + bytes > kTwiddleBytesMax) kept.clear(), keptBytes = 0;
    const auto [it, fresh] = kept.emplace(n, std::move(t));
    if (fresh) keptBytes += bytes;
    return it->second;
}

// One block: up to kLanes sequences, lane j read from in[j] and written to out[j], samples rs apart.
template <class T>
struct Lanes {
    const T* in[kLanes];
    T* out[kLanes];
    uint64_t width;
    bool adjacent;  // lane j lies at in[0] + j and out[0] + j
};

// The real buffer holds lane j's sample p at laneReals j + p; the complex one its V[k] at half j + k
// (FFTW runs contiguous sequences about twice as fast as interleaved ones). laneReals is n, or
// 2 half when the forward transform runs in place in one buffer.
template <class T>
struct Block {
    uint64_t W, n, half, rs, inLen, laneReals;
    bool sine;

    bool unit(const Lanes<T>& l) const { return l.width == 1 && rs == 1; }

    Lanes<T> lanes(const T* in, T* out, uint64_t q0, uint64_t total) const {
        Lanes<T> l;
        l.width = std::min(W, total - q0);
        for (uint64_t j = 0; j < l.width; ++j) {
            const uint64_t q = q0 + j, s = q % rs, o = q / rs;
            l.in[j] = in + s + rs * inLen * o;
            l.out[j] = out + s + rs * n * o;
        }
        l.adjacent = l.in[l.width - 1] == l.in[0] + (l.width - 1) && l.out[l.width - 1] == l.out[0] + (l.width - 1);
        return l;
    }

    // Forward: the even samples to rows 0, 1, ..., the odd ones to rows n-1, n-2, ...; the odd ones
    // negated for the sine kind; rows past the input zero.
    void gather(T* buf, const Lanes<T>& l) const {
        const uint64_t common = std::min(inLen, n), evens = (common + 1) / 2, odds = common / 2;
        const T odd = sine ? T(-1) : T(1);
        const uint64_t L = laneReals;
        for (uint64_t j = 0; j < l.width; ++j) std::fill(buf + L * j + evens, buf + L * j + n - odds, T(0));
        if (unit(l)) {
            const T* x = l.in[0];
            T* back = buf + n - 1;
            for (uint64_t i = 0; i < evens; ++i) buf[i] = x[2 * i];
            for (uint64_t i = 0; i < odds; ++i) back[-ptrdiff_t(i)] = odd * x[2 * i + 1];
            return;
        }
        if (!l.adjacent) {
            for (uint64_t j = 0; j < l.width; ++j) {
                const T* x = l.in[j];
                T* v = buf + L * j;
                for (uint64_t i = 0; i < evens; ++i) v[i] = x[rs * 2 * i];
                for (uint64_t i = 0; i < odds; ++i) v[n - 1 - i] = odd * x[rs * (2 * i + 1)];
            }
            return;
        }
        // Rows in the order they lie in memory.
        const T* x = l.in[0];
        for (uint64_t i = 0; i < evens; ++i) {
            const T* even = x + rs * 2 * i;
            for (uint64_t j = 0; j < l.width; ++j) buf[L * j + i] = even[j];
            if (i >= odds) break;
            const T* oddRow = even + rs;
            for (uint64_t j = 0; j < l.width; ++j) buf[L * j + n - 1 - i] = odd * oddRow[j];
        }
    }

    // Forward: y[k] = Re(2 f e^{-i pi k / 2n} V[k]) and y[n-k] = -Im(...), y[0] = V[0] / sqrt(n);
    // the sine kind writes y[k] to n-1-k.
    void scatterSpectrum(const T* c, const Lanes<T>& l, const Twiddles<T>& t) const {
        const T* cs = t.cs.data();
        // Lanes j0 .. j0+count-1 at y[0 .. count-1] of each row; rows in pairs k, n-k.
        const auto pass = [&](T* y, uint64_t j0, uint64_t count) {
            const auto row = [&](uint64_t k) { return y + rs * (sine ? n - 1 - k : k); };
            const T* v = c + 2 * half * j0;
            T* first = row(0);
            for (uint64_t i = 0; i < count; ++i) first[i] = v[2 * half * i] * t.first;
            for (uint64_t k = 1; 2 * k <= n; ++k) {
                T *lo = row(k), *hi = row(n - k);
                const T ck = cs[2 * k], sk = cs[2 * k + 1];
                for (uint64_t i = 0; i < count; ++i) {
                    const T a = v[2 * (half * i + k)], b = v[2 * (half * i + k) + 1];
                    hi[i] = sk * a - ck * b;
                    lo[i] = ck * a + sk * b;
                }
            }
        };
        if (unit(l)) return sine ? unitPass<true>(c, l.out[0], t) : unitPass<false>(c, l.out[0], t);
        if (l.adjacent) return pass(l.out[0], 0, l.width);
        for (uint64_t j = 0; j < l.width; ++j) pass(l.out[j], j, 1);
    }

    // scatterSpectrum's pass for one lane of contiguous samples, in loops the compiler vectorizes.
    template <bool kSine>
    void unitPass(const T* v, T* y, const Twiddles<T>& t) const {
        const T* cs = t.cs.data();
        const auto at = [&](uint64_t k) -> T& { return kSine ? y[n - 1 - k] : y[k]; };
        at(0) = v[0] * t.first;
        const uint64_t pairs = (n - 1) / 2;  // k and n-k distinct
        for (uint64_t k = 1; k <= pairs; ++k) {
            const T a = v[2 * k], b = v[2 * k + 1], ck = cs[2 * k], sk = cs[2 * k + 1];
            at(n - k) = sk * a - ck * b;
            at(k) = ck * a + sk * b;
        }
        if (n % 2 == 0 && n >= 2) {
            const uint64_t k = n / 2;
            at(k) = cs[2 * k] * v[2 * k] + cs[2 * k + 1] * v[2 * k + 1];
        }
    }

    // Inverse: V[k] = f e^{i pi k / 2n} (X[k] - i X[n-k]), X[n] = 0, V[0] = X[0] / sqrt(n); the sine
    // kind reads X[k] from n-1-k. Coefficients past the input are zero.
    void gatherSpectrum(T* c, const Lanes<T>& l, const Twiddles<T>& t) const {
        const T* cs = t.cs.data();
        const auto pass = [&](const T* x, uint64_t j0, uint64_t count) {
            const auto row = [&](uint64_t k) {
                const uint64_t m = sine ? n - 1 - k : k;
                return m < inLen ? x + rs * m : nullptr;
            };
            T* v = c + 2 * half * j0;
            const T* first = row(0);
            for (uint64_t i = 0; i < count; ++i) {
                v[2 * half * i] = first ? first[i] * t.first : T(0);
                v[2 * half * i + 1] = T(0);
            }
            for (uint64_t k = 1; 2 * k <= n; ++k) {
                const T *lo = row(k), *hi = row(n - k);
                const T ck = cs[2 * k], sk = cs[2 * k + 1];
                for (uint64_t i = 0; i < count; ++i) {
                    const T a = lo ? lo[i] : T(0), b = hi ? hi[i] : T(0);
                    v[2 * (half * i + k)] = T(0.5) * (ck * a + sk * b);
                    v[2 * (half * i + k) + 1] = T(0.5) * (sk * a - ck * b);
                }
            }
        };
        if (unit(l) && inLen >= n)
            return sine ? unitGatherSpectrum<true>(l.in[0], c, t) : unitGatherSpectrum<false>(l.in[0], c, t);
        if (l.adjacent) return pass(l.in[0], 0, l.width);
        for (uint64_t j = 0; j < l.width; ++j) pass(l.in[j], j, 1);
    }

    // gatherSpectrum's pass for one lane of contiguous coefficients, none of them past the input.
    template <bool kSine>
    void unitGatherSpectrum(const T* x, T* v, const Twiddles<T>& t) const {
        const T* cs = t.cs.data();
        const auto at = [&](uint64_t k) { return kSine ? x[n - 1 - k] : x[k]; };
        v[0] = at(0) * t.first;
        v[1] = T(0);
        for (uint64_t k = 1; 2 * k <= n; ++k) {
            const T a = at(k), b = at(n - k), ck = cs[2 * k], sk = cs[2 * k + 1];
            v[2 * k] = T(0.5) * (ck * a + sk * b);
            v[2 * k + 1] = T(0.5) * (sk * a - ck * b);
        }
    }

    // Inverse: rows 0, 1, ... back to the even samples, rows n-1, n-2, ... to the odd ones.
    void scatter(const T* buf, const Lanes<T>& l) const {
        const uint64_t evens = (n + 1) / 2, odds = n / 2;
        const T odd = sine ? T(-1) : T(1);
        if (unit(l)) {
            T* x = l.out[0];
            const T* back = buf + n - 1;
            for (uint64_t i = 0; i < evens; ++i) x[2 * i] = buf[i];
            for (uint64_t i = 0; i < odds; ++i) x[2 * i + 1] = odd * back[-ptrdiff_t(i)];
            return;
        }
        if (!l.adjacent) {
            for (uint64_t j = 0; j < l.width; ++j) {
                T* x = l.out[j];
                const T* v = buf + n * j;
                for (uint64_t i = 0; i < evens; ++i) x[rs * 2 * i] = v[i];
                for (uint64_t i = 0; i < odds; ++i) x[rs * (2 * i + 1)] = odd * v[n - 1 - i];
            }
            return;
        }
        T* x = l.out[0];
        for (uint64_t i = 0; i < evens; ++i) {
            T* even = x + rs * 2 * i;
            for (uint64_t j = 0; j < l.width; ++j) even[j] = buf[n * j + i];
            if (i >= odds) break;
            T* oddRow = even + rs;
            for (uint64_t j = 0; j < l.width; ++j) oddRow[j] = odd * buf[n * j + n - 1 - i];
        }
    }
};

template <class T, int kind>
void run(const Job<T>& job, dcstPlanCacheInterface<T, kind>* cache, const T* in, T* out, uint64_t inLen) {
    using F = Fftw<T>;
    using FC = typename F::complex;
    constexpr bool forward = kind == kDct2 || kind == kDst2;
    const uint64_t n = job.n, rs = job.stride, total = rs * job.outer, half = n / 2 + 1;
    const uint64_t W = std::min(std::clamp<uint64_t>(kBlockReals / n, 1, kLanes), total);
    const uint64_t blocks = (total + W - 1) / W;
    const bool inPlace = forward && realForwardInPlace(n);
    const Block<T> block{W, n, half, rs, inLen, inPlace ? 2 * half : n, kind == kDst2 || kind == kDst3};
    const auto twiddles = twiddlesOf<T>(n);

    // One thread a block when blocks run in parallel.
    const PlanOwner<T> plan =
        realLanesPlan(cache, job, W, forward, blocks > 1 ? 1 : job.context.numThreads, inPlace);

    const bool parallel = blocks > 1 && total * n >= kParallelElements;
    vlcommon::runRange(parallel, uint64_t(0), blocks, uint64_t(1), [&](const tbb::blocked_range<uint64_t>& r) {
        Buffer<T> real(inPlace ? 0 : size_t(W * n)), spectrum(size_t(W * half * 2));
        T* const samples = inPlace ? spectrum.data : real.data;
        if (total % W) {  // the last block's unused lanes are transformed too: keep them finite
            if (!inPlace) std::fill(real.data, real.data + W * n, T(0));
            std::fill(spectrum.data, spectrum.data + W * half * 2, T(0));
        }
        for (uint64_t b = r.begin(); b < r.end(); ++b) {
            const Lanes<T> l = block.lanes(in, out, b * W, total);
            if constexpr (forward) {
                block.gather(samples, l);
                F::execR2c(plan.plan, samples, reinterpret_cast<FC*>(spectrum.data));
                block.scatterSpectrum(spectrum.data, l, *twiddles);
            } else {
                block.gatherSpectrum(spectrum.data, l, *twiddles);
                F::execC2r(plan.plan, reinterpret_cast<FC*>(spectrum.data), real.data);
                block.scatter(real.data, l);
            }
        }
    });
}

}  // namespace

template <class T, int kind>
void dctByFft(const Job<T>& job, dcstPlanCacheInterface<T, kind>* cache, const T* in, T* out, uint64_t inLen) {
    try {
        run<T, kind>(job, cache, in, out, inLen);
    } catch (const std::bad_alloc&) {
        throw std::runtime_error("FFTW:nomem");
    }
}

#define VL_DCT_BY_FFT(kind)                                                                            \
    template void dctByFft<float, kind>(const Job<float>&, dcstPlanCacheInterface<float, kind>*,      \
                                        const float*, float*, uint64_t);                              \
    template void dctByFft<double, kind>(const Job<double>&, dcstPlanCacheInterface<double, kind>*,   \
                                         const double*, double*, uint64_t);

VL_DCT_BY_FFT(kDct2)
VL_DCT_BY_FFT(kDct3)
VL_DCT_BY_FFT(kDst2)
VL_DCT_BY_FFT(kDst3)

}  // namespace vfl_fft
