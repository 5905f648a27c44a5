// The transform library's own loops around FFTW's (which picks its instructions itself), one copy
// per instruction-set level.
#pragma once

#include <cstddef>

#include "common/isa.hpp"

namespace vfl_fft::kernels {

// The inverse's 1/n divides every value by R(n); when 1/n is exact (n a power of two) as a
// multiplication by it: the same bits, at a fraction of a division's cost.
//   divideAll: p[i] /= n for i < count.
//   divideRows: to[toStride r + i] = from[fromStride r + i] / n, rows r < rows, i < width.
//   divideLanesToRows: to[stride k + j] = lanes[lane j + k] / n, k < rows, j < width.
//   scaleAll: p[i] *= f for i < count.
//   conjugateReversed: complex dst[j] = conj(src[-j]), j < count, as pairs of reals.
#define VL_FFT_LOOPS(R)                                                                                         \
    void divideAll(R* p, size_t count, double n);                                                               \
    void divideRows(const R* from, size_t fromStride, R* to, size_t toStride, size_t rows, size_t width,        \
                    double n);                                                                                  \
    void divideLanesToRows(const R* lanes, size_t lane, size_t rows, size_t width, R* to, size_t stride,        \
                           double n);                                                                           \
    void scaleAll(R* p, size_t count, R f);                                                                     \
    void conjugateReversed(R* dst, const R* src, size_t count)
VL_ISA_DECLARE(VL_FFT_LOOPS(float); VL_FFT_LOOPS(double))
#undef VL_FFT_LOOPS

// The running level's copy of each.
template <class R>
struct Loops {
    void (*divideAll)(R*, size_t, double);
    void (*divideRows)(const R*, size_t, R*, size_t, size_t, size_t, double);
    void (*divideLanesToRows)(const R*, size_t, size_t, size_t, R*, size_t, double);
    void (*scaleAll)(R*, size_t, R);
    void (*conjugateReversed)(R*, const R*, size_t);
};

template <class R>
const Loops<R>& loops() {
#define VL_FFT_LOOPS_OF(ns) \
    Loops<R> { &ns::divideAll, &ns::divideRows, &ns::divideLanesToRows, &ns::scaleAll, &ns::conjugateReversed }
    static const Loops<R> running = vlcommon::byLevel(VL_FFT_LOOPS_OF(isa_baseline), VL_FFT_LOOPS_OF(isa_v3),
                                                      VL_FFT_LOOPS_OF(isa_v4));
#undef VL_FFT_LOOPS_OF
    return running;
}

}  // namespace vfl_fft::kernels
