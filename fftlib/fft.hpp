// The transform library vfl_fft: FFTW behind the interfaces the library calls. Plans are looked
// up in, and offered to, a cache the caller hands over.
#pragma once

#include <array>
#include <complex>
#include <cstdint>
#include <string>

#include <fftw3.h>
#include <oneapi/tbb/spin_mutex.h>

#pragma GCC visibility push(default)

namespace vfl_fft {

// Planner settings passed with every transform.
struct fftwContext {
    uint64_t numThreads = 1;                // threads a plan may use
    uint64_t rows = 4;                      // plans use numThreads from this many sequences
    int32_t plannerFlags = FFTW_ESTIMATE;   // FFTW's planner flags, or kPlannerHybrid
    uint8_t contextFlag = 0;                // the caller's; passed through, never read here
};

// plannerFlags: FFTW's own flags, or this library's hybrid mode: plan with FFTW_MEASURE for
// transforms of at most kHybridMeasureMax points, FFTW_ESTIMATE above, where measuring costs
// more than it saves.
constexpr int32_t kPlannerHybrid = -1;
constexpr uint64_t kHybridMeasureMax = 1 << 14;

// Cache keys: word 0 is the transform length n; words 1 to 3 are this library's (see driver.hpp).
using PlanKey = std::array<uint64_t, 4>;

template <class T>
struct FftwTypes;
template <>
struct FftwTypes<double> {
    using plan = fftw_plan;
};
template <>
struct FftwTypes<float> {
    using plan = fftwf_plan;
};
template <class T>
using PlanOf = typename FftwTypes<T>::plan;

// The transform kinds: the integer template argument of the transforms and of their caches.
enum FftKind : int { kRealToComplex = 0, kComplexToReal = 1, kComplexToComplex = 2 };

template <class T, int kind>
class fftwPlanCacheInterface {
public:
    virtual ~fftwPlanCacheInterface() = default;
    virtual bool insert(const PlanKey& key, PlanOf<T> plan) = 0;
    virtual PlanOf<T> find(const PlanKey& key) = 0;
};

template <class T, int kind>
using InOf = std::conditional_t<kind == kRealToComplex, T, std::complex<T>>;
template <class T, int kind>
using OutOf = std::conditional_t<kind == kComplexToReal, T, std::complex<T>>;

// howMany transforms of length n; a sample of a sequence stands at s + stride * (k + len * o),
// with len = inLen in the input and n in the output. Pads or truncates from inLen to n, scales
// the inverse by 1/n, fills a real-to-complex result to full length, never writes the input.
// Failures are std::runtime_error with what() "FFTW:nomem" or "FFTWAssertionFailure".
template <class T, int kind>
void veltraFFT1D(fftwContext context, fftwPlanCacheInterface<T, kind>* cache, const InOf<T, kind>* in,
                 OutOf<T, kind>* out, uint64_t stride, uint64_t n, uint64_t inLen, uint64_t howMany, int sign);

// The same real-to-complex transforms kept to their n / 2 + 1 non-negative frequencies: in the
// output, len = n / 2 + 1.
template <class T>
void veltraRealFFT1DHalf(fftwContext context, fftwPlanCacheInterface<T, kRealToComplex>* cache, const T* in,
                         std::complex<T>* out, uint64_t stride, uint64_t n, uint64_t inLen, uint64_t howMany);

// The cosine and sine transforms: kind = type - 1, plus 4 for the sine family.
enum DcstKind : int { kDct1 = 0, kDct2, kDct3, kDct4, kDst1, kDst2, kDst3, kDst4 };

template <class T, int kind>
class dcstPlanCacheInterface {
public:
    virtual ~dcstPlanCacheInterface() = default;
    virtual bool insert(const PlanKey& key, PlanOf<T> plan) = 0;
    virtual PlanOf<T> find(const PlanKey& key) = 0;
};

// howMany orthonormal transforms of the kind, laid out as in veltraFFT1D; complex data (isComplex)
// is interleaved, and its real and imaginary parts are transformed alike. Each inverse is a kind
// of its own (DCT-III undoes DCT-II; I and IV undo themselves), so the sign changes nothing.
template <class T, int kind>
void veltraDCST1D(fftwContext context, dcstPlanCacheInterface<T, kind>* cache, const T* in, T* out, uint64_t stride,
                  uint64_t n, uint64_t inLen, uint64_t howMany, int sign, bool isComplex);

// The process-wide wrapper of FFTW's entry points.
class fftwApi {
public:
    static fftwApi& getInstance();
    void destroyPlan(fftw_plan plan);
    void destroyPlan(fftwf_plan plan);
    void free(void* pointer);  // a string FFTW made (exported wisdom), for the wisdom commands
    std::string version() const;
    uint64_t plansMade() const;  // plans created since the start, both precisions

    // Held around each call into FFTW's planner, plan destruction and wisdom (one process-wide
    // state, which FFTW's own planner lock covers only in part).
    static tbb::spin_mutex fftwAccessMutex_;

private:
    fftwApi();
};

}  // namespace vfl_fft

#pragma GCC visibility pop
