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
#include "fftlib/kernels/dct_passes.hpp"

namespace vfl_fft {

namespace {

// Sequences go through the buffers in blocks of up to kLanes interleaved lanes, about
// kBlockReals samples a block, so that a block stays in L2 through its three passes.
using kernels::BlockShape;
using kernels::kLanes;
using kernels::Lanes;
using kernels::Twiddles;
constexpr uint64_t kBlockReals = 1 << 13;
// The tables of all lengths together stay below this many bytes; past it they are all dropped.
constexpr size_t kTwiddleBytesMax = size_t(64) << 20;

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

// Lanes q0 .. q0+W-1 of a block (fewer in the last), lane j read from in[j], written to out[j].
template <class T>
Lanes<T> lanesOf(const BlockShape<T>& b, const T* in, T* out, uint64_t q0, uint64_t total) {
    Lanes<T> l;
    l.width = std::min(b.W, total - q0);
    for (uint64_t j = 0; j < l.width; ++j) {
        const uint64_t q = q0 + j, s = q % b.rs, o = q / b.rs;
        l.in[j] = in + s + b.rs * b.inLen * o;
        l.out[j] = out + s + b.rs * b.n * o;
    }
    l.adjacent = l.in[l.width - 1] == l.in[0] + (l.width - 1) && l.out[l.width - 1] == l.out[0] + (l.width - 1);
    return l;
}

template <class T, int kind>
void run(const Job<T>& job, dcstPlanCacheInterface<T, kind>* cache, const T* in, T* out, uint64_t inLen) {
    using F = Fftw<T>;
    using FC = typename F::complex;
    constexpr bool forward = kind == kDct2 || kind == kDst2;
    const uint64_t n = job.n, rs = job.stride, total = rs * job.outer, half = n / 2 + 1;
    const uint64_t W = std::min(std::clamp<uint64_t>(kBlockReals / n, 1, kLanes), total);
    const uint64_t blocks = (total + W - 1) / W;
    const bool inPlace = forward && realForwardInPlace(n);
    const BlockShape<T> block{W, n, half, rs, inLen, inPlace ? 2 * half : n, kind == kDst2 || kind == kDst3};
    const kernels::DctPasses<T>& passes = kernels::dctPasses<T>();
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
            const Lanes<T> l = lanesOf(block, in, out, b * W, total);
            if constexpr (forward) {
                passes.gather(block, samples, l);
                F::execR2c(plan.plan, samples, reinterpret_cast<FC*>(spectrum.data));
                passes.scatterSpectrum(block, spectrum.data, l, *twiddles);
            } else {
                passes.gatherSpectrum(block, spectrum.data, l, *twiddles);
                F::execC2r(plan.plan, reinterpret_cast<FC*>(spectrum.data), real.data);
                passes.scatter(block, real.data, l);
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
