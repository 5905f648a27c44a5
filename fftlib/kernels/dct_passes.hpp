// The four passes of a cosine or sine transform through a real FFT (the samples into the FFT's
// order, its spectrum out to the coefficients, and back), one copy per instruction-set level.
// Internal to the transform library.
#pragma once

#include <cstdint>
#include <vector>

#include "common/isa.hpp"

namespace vfl_fft::kernels {

// Sequences go through the buffers in blocks of up to kLanes interleaved lanes.
constexpr uint64_t kLanes = 16;

// 2 f cos(pi k / 2n) and 2 f sin(pi k / 2n) for k = 0 .. n/2, interleaved, with f = 1 / sqrt(2n)
// the orthonormal scale; `first` is y[0]'s factor 1 / sqrt(n).
template <class T>
struct Twiddles {
    std::vector<T> cs;
    T first;
};

// One block: up to kLanes sequences, lane j read from in[j] and written to out[j], samples rs apart.
template <class T>
struct Lanes {
    const T* in[kLanes];
    T* out[kLanes];
    uint64_t width;
    bool adjacent;  // lane j lies at in[0] + j and out[0] + j
};

// A block's layout. The real buffer holds lane j's sample p at laneReals j + p; the complex one
// its V[k] at half j + k (FFTW runs contiguous sequences about twice as fast as interleaved ones).
// laneReals is n, or 2 half when the forward transform runs in place in one buffer.
template <class T>
struct BlockShape {
    uint64_t W, n, half, rs, inLen, laneReals;
    bool sine;
};

// gather: forward, the samples into the real buffer. scatterSpectrum: forward, the spectrum out
// to the coefficients. gatherSpectrum: inverse, the coefficients into the spectrum. scatter:
// inverse, the real buffer out to the samples.
#define VL_DCT_PASSES(T)                                                                              \
    void gather(const BlockShape<T>& b, T* buf, const Lanes<T>& l);                                   \
    void scatterSpectrum(const BlockShape<T>& b, const T* c, const Lanes<T>& l, const Twiddles<T>& t); \
    void gatherSpectrum(const BlockShape<T>& b, T* c, const Lanes<T>& l, const Twiddles<T>& t);        \
    void scatter(const BlockShape<T>& b, const T* buf, const Lanes<T>& l)
VL_ISA_DECLARE(VL_DCT_PASSES(float); VL_DCT_PASSES(double))
#undef VL_DCT_PASSES

template <class T>
struct DctPasses {
    void (*gather)(const BlockShape<T>&, T*, const Lanes<T>&);
    void (*scatterSpectrum)(const BlockShape<T>&, const T*, const Lanes<T>&, const Twiddles<T>&);
    void (*gatherSpectrum)(const BlockShape<T>&, T*, const Lanes<T>&, const Twiddles<T>&);
    void (*scatter)(const BlockShape<T>&, const T*, const Lanes<T>&);
};

// The running level's passes.
template <class T>
const DctPasses<T>& dctPasses() {
#define VL_DCT_PASSES_OF(ns) DctPasses<T>{&ns::gather, &ns::scatterSpectrum, &ns::gatherSpectrum, &ns::scatter}
    static const DctPasses<T> running =
        vlcommon::byLevel(VL_DCT_PASSES_OF(isa_baseline), VL_DCT_PASSES_OF(isa_v3), VL_DCT_PASSES_OF(isa_v4));
#undef VL_DCT_PASSES_OF
    return running;
}

}  // namespace vfl_fft::kernels
