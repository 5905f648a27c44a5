// The passes of a cosine or sine transform through a real FFT, compiled once per
// instruction-set level.
#include "fftlib/kernels/dct_passes.hpp"

#include <algorithm>
#include <cstddef>

namespace vfl_fft::kernels::VL_ISA {

namespace {

template <class T>
struct Block : BlockShape<T> {
    using BlockShape<T>::W, BlockShape<T>::n, BlockShape<T>::half, BlockShape<T>::rs, BlockShape<T>::inLen,
        BlockShape<T>::laneReals, BlockShape<T>::sine;
    explicit Block(const BlockShape<T>& shape) : BlockShape<T>(shape) {}

    bool unit(const Lanes<T>& l) const { return l.width == 1 && rs == 1; }

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

    // The imaginary parts add the product by -ck (the same bits as subtracting the product by ck):
    // an alternating add and subtract of products is what GCC fuses at AVX-512 whatever the
    // contraction setting.
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
                const T ck = cs[2 * k], sk = cs[2 * k + 1], nck = -ck;
                for (uint64_t i = 0; i < count; ++i) {
                    const T a = lo ? lo[i] : T(0), b = hi ? hi[i] : T(0);
                    v[2 * (half * i + k)] = T(0.5) * (ck * a + sk * b);
                    v[2 * (half * i + k) + 1] = T(0.5) * (sk * a + nck * b);
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
            const T a = at(k), b = at(n - k), ck = cs[2 * k], sk = cs[2 * k + 1], nck = -ck;
            v[2 * k] = T(0.5) * (ck * a + sk * b);
            v[2 * k + 1] = T(0.5) * (sk * a + nck * b);
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

}  // namespace

#define VL_DCT_PASSES(T)                                                                                      \
    void gather(const BlockShape<T>& b, T* buf, const Lanes<T>& l) { Block<T>(b).gather(buf, l); }            \
    void scatterSpectrum(const BlockShape<T>& b, const T* c, const Lanes<T>& l, const Twiddles<T>& t) {        \
        Block<T>(b).scatterSpectrum(c, l, t);                                                                 \
    }                                                                                                         \
    void gatherSpectrum(const BlockShape<T>& b, T* c, const Lanes<T>& l, const Twiddles<T>& t) {               \
        Block<T>(b).gatherSpectrum(c, l, t);                                                                  \
    }                                                                                                         \
    void scatter(const BlockShape<T>& b, const T* buf, const Lanes<T>& l) { Block<T>(b).scatter(buf, l); }
VL_DCT_PASSES(float)
VL_DCT_PASSES(double)
#undef VL_DCT_PASSES

}  // namespace vfl_fft::kernels::VL_ISA
