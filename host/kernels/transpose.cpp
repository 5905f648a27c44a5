// The tile transpose, compiled once per instruction-set level: square blocks go through vector
// registers as wide as the level has (loads, shuffles and stores move bits only, NaN payloads
// included); the edges element by element.
#include "host/kernels/transpose.hpp"

// GCC 12's AVX-512 headers start some vectors from an undefined value, and say so.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#include <immintrin.h>

namespace vlhost::kernels::VL_ISA {

namespace {

template <size_t Bytes>
struct Element {
    unsigned char bytes[Bytes];
};

template <class E>
void plain(const E* src, size_t ss, E* dst, size_t ds, size_t ib, size_t ie, size_t jb, size_t je) {
    for (size_t j = jb; j < je; ++j)
        for (size_t i = ib; i < ie; ++i) dst[i + j * ds] = src[i * ss + j];
}

// Square blocks of B by B elements through `block`, which sees them as values of R (strides in
// elements), then the edges.
template <size_t B, class R, class E>
void blocked(const E* src, size_t ss, E* dst, size_t ds, size_t ib, size_t ie, size_t jb, size_t je,
             void (*block)(const R*, size_t, R*, size_t)) {
    size_t j = jb;
    for (; j + B <= je; j += B) {
        size_t i = ib;
        for (; i + B <= ie; i += B)
            block(reinterpret_cast<const R*>(src + i * ss + j), ss, reinterpret_cast<R*>(dst + i + j * ds), ds);
        plain(src, ss, dst, ds, i, ie, j, j + B);
    }
    plain(src, ss, dst, ds, ib, ie, j, je);
}

#if defined(__AVX512F__)
void doubles8x8(const double* s, size_t ss, double* d, size_t ds) {
    __m512d r[8], t[8];
    for (int k = 0; k < 8; ++k) r[k] = _mm512_loadu_pd(s + k * ss);
    for (int k = 0; k < 8; k += 2) t[k] = _mm512_unpacklo_pd(r[k], r[k + 1]), t[k + 1] = _mm512_unpackhi_pd(r[k], r[k + 1]);
    // t[2a + h] holds, in 128-bit lane l, rows 2a and 2a+1 of column 2l + h.
    for (int h = 0; h < 2; ++h) {
        const __m512d u0 = _mm512_shuffle_f64x2(t[h], t[2 + h], 0x88), u1 = _mm512_shuffle_f64x2(t[h], t[2 + h], 0xDD);
        const __m512d u2 = _mm512_shuffle_f64x2(t[4 + h], t[6 + h], 0x88), u3 = _mm512_shuffle_f64x2(t[4 + h], t[6 + h], 0xDD);
        _mm512_storeu_pd(d + (0 + h) * ds, _mm512_shuffle_f64x2(u0, u2, 0x88));
        _mm512_storeu_pd(d + (4 + h) * ds, _mm512_shuffle_f64x2(u0, u2, 0xDD));
        _mm512_storeu_pd(d + (2 + h) * ds, _mm512_shuffle_f64x2(u1, u3, 0x88));
        _mm512_storeu_pd(d + (6 + h) * ds, _mm512_shuffle_f64x2(u1, u3, 0xDD));
    }
}
#endif

#if defined(__AVX2__) && !defined(__AVX512F__)
void doubles4x4(const double* s, size_t ss, double* d, size_t ds) {
    const __m256d r0 = _mm256_loadu_pd(s), r1 = _mm256_loadu_pd(s + ss), r2 = _mm256_loadu_pd(s + 2 * ss),
                  r3 = _mm256_loadu_pd(s + 3 * ss);
    const __m256d t0 = _mm256_unpacklo_pd(r0, r1), t1 = _mm256_unpackhi_pd(r0, r1), t2 = _mm256_unpacklo_pd(r2, r3),
                  t3 = _mm256_unpackhi_pd(r2, r3);
    _mm256_storeu_pd(d, _mm256_permute2f128_pd(t0, t2, 0x20));
    _mm256_storeu_pd(d + ds, _mm256_permute2f128_pd(t1, t3, 0x20));
    _mm256_storeu_pd(d + 2 * ds, _mm256_permute2f128_pd(t0, t2, 0x31));
    _mm256_storeu_pd(d + 3 * ds, _mm256_permute2f128_pd(t1, t3, 0x31));
}
#endif

#if defined(__AVX2__)
void floats8x8(const float* s, size_t ss, float* d, size_t ds) {
    __m256 r[8], t[8], u[8];
    for (int k = 0; k < 8; ++k) r[k] = _mm256_loadu_ps(s + k * ss);
    for (int k = 0; k < 8; k += 2) t[k] = _mm256_unpacklo_ps(r[k], r[k + 1]), t[k + 1] = _mm256_unpackhi_ps(r[k], r[k + 1]);
    for (int k = 0; k < 8; k += 4) {
        u[k] = _mm256_shuffle_ps(t[k], t[k + 2], _MM_SHUFFLE(1, 0, 1, 0));
        u[k + 1] = _mm256_shuffle_ps(t[k], t[k + 2], _MM_SHUFFLE(3, 2, 3, 2));
        u[k + 2] = _mm256_shuffle_ps(t[k + 1], t[k + 3], _MM_SHUFFLE(1, 0, 1, 0));
        u[k + 3] = _mm256_shuffle_ps(t[k + 1], t[k + 3], _MM_SHUFFLE(3, 2, 3, 2));
    }
    for (int k = 0; k < 4; ++k) {
        _mm256_storeu_ps(d + k * ds, _mm256_permute2f128_ps(u[k], u[k + 4], 0x20));
        _mm256_storeu_ps(d + (k + 4) * ds, _mm256_permute2f128_ps(u[k], u[k + 4], 0x31));
    }
}

// Two complex doubles (16 bytes each) a row.
void complexes2x2(const double* s, size_t ss, double* d, size_t ds) {
    const __m256d r0 = _mm256_loadu_pd(s), r1 = _mm256_loadu_pd(s + 2 * ss);
    _mm256_storeu_pd(d, _mm256_permute2f128_pd(r0, r1, 0x20));
    _mm256_storeu_pd(d + 2 * ds, _mm256_permute2f128_pd(r0, r1, 0x31));
}
#else
void doubles2x2(const double* s, size_t ss, double* d, size_t ds) {
    const __m128d r0 = _mm_loadu_pd(s), r1 = _mm_loadu_pd(s + ss);
    _mm_storeu_pd(d, _mm_unpacklo_pd(r0, r1)), _mm_storeu_pd(d + ds, _mm_unpackhi_pd(r0, r1));
}

void floats4x4(const float* s, size_t ss, float* d, size_t ds) {
    __m128 r0 = _mm_loadu_ps(s), r1 = _mm_loadu_ps(s + ss), r2 = _mm_loadu_ps(s + 2 * ss), r3 = _mm_loadu_ps(s + 3 * ss);
    _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
    _mm_storeu_ps(d, r0), _mm_storeu_ps(d + ds, r1), _mm_storeu_ps(d + 2 * ds, r2), _mm_storeu_ps(d + 3 * ds, r3);
}
#endif

template <size_t Bytes>
void tile(const void* src, size_t ss, void* dst, size_t ds, size_t ib, size_t ie, size_t jb, size_t je) {
    using E = Element<Bytes>;
    const E* s = static_cast<const E*>(src);
    E* d = static_cast<E*>(dst);
    if constexpr (Bytes == 8) {
#if defined(__AVX512F__)
        blocked<8>(s, ss, d, ds, ib, ie, jb, je, doubles8x8);
#elif defined(__AVX2__)
        blocked<4>(s, ss, d, ds, ib, ie, jb, je, doubles4x4);
#else
        blocked<2>(s, ss, d, ds, ib, ie, jb, je, doubles2x2);
#endif
    } else if constexpr (Bytes == 4) {
#if defined(__AVX2__)
        blocked<8>(s, ss, d, ds, ib, ie, jb, je, floats8x8);
#else
        blocked<4>(s, ss, d, ds, ib, ie, jb, je, floats4x4);
#endif
    } else if constexpr (Bytes == 16) {
#if defined(__AVX2__)
        blocked<2>(s, ss, d, ds, ib, ie, jb, je, complexes2x2);
#else
        plain(s, ss, d, ds, ib, ie, jb, je);
#endif
    } else {
        plain(s, ss, d, ds, ib, ie, jb, je);
    }
}

}  // namespace

void transposeTile(const void* src, size_t srcStride, void* dst, size_t dstStride, size_t bytes, size_t ib, size_t ie,
                   size_t jb, size_t je) {
    switch (bytes) {
        case 1: return tile<1>(src, srcStride, dst, dstStride, ib, ie, jb, je);
        case 2: return tile<2>(src, srcStride, dst, dstStride, ib, ie, jb, je);
        case 4: return tile<4>(src, srcStride, dst, dstStride, ib, ie, jb, je);
        case 8: return tile<8>(src, srcStride, dst, dstStride, ib, ie, jb, je);
        default: return tile<16>(src, srcStride, dst, dstStride, ib, ie, jb, je);
    }
}

}  // namespace vlhost::kernels::VL_ISA

#pragma GCC diagnostic pop
