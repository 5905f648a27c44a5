// Cosine and sine transforms of types II and III through one real FFT of the same length.
// Internal to the transform library.
#pragma once

#include "fftlib/driver.hpp"

namespace vfl_fft {

// Orthonormal DCT-II, DCT-III, DST-II or DST-III of job.stride * job.outer real sequences, laid
// out as in veltraDCST1D (samples job.stride apart, blocks of inLen in and job.n out).
template <class T, int kind>
void dctByFft(const Job<T>& job, dcstPlanCacheInterface<T, kind>* cache, const T* in, T* out, uint64_t inLen);

template <int kind>
constexpr bool runsByFft = kind == kDct2 || kind == kDct3 || kind == kDst2 || kind == kDst3;

}  // namespace vfl_fft
