// FIR kernels in scatter form: each sample adds its scaled copy of b into the outputs it
// reaches, so a range of outputs needs no state from the outputs before it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "filter/kernels/fir_gather.hpp"
#include "filter/kernels/update_step.hpp"

namespace vfl_filter {

using i64 = int64_t;

// Copies count elements of zi into out, real into complex as (value, 0).
template <class T>
inline void seedFrom(T* out, bool outCplx, const T* zi, bool ziCplx, i64 count) {
    if (count <= 0) return;
    if (ziCplx == outCplx) {
        std::memcpy(out, zi, size_t(count) * (outCplx ? 2 : 1) * sizeof(T));
        return;
    }
    for (i64 i = 0; i < count; ++i) out[2 * i] = zi[i], out[2 * i + 1] = T(0);
}

struct vlFilterFIR {
    // Adds to out[start, end) the filter's output there: zi first, then the oldest sample first.
    template <class T>
    void operator()(i64 nb, const T* b, i64 xLen, const T* x, i64 nz, const T* zi, T* out, i64 start, i64 end,
                    bool bCplx, bool xCplx, bool ziCplx, bool outCplx) const {
        (void)xLen;
        const i64 c = end - start;
        const int ow = outCplx ? 2 : 1, xw = xCplx ? 2 : 1, zw = ziCplx ? 2 : 1;
        if (zi)
            seedFrom(out + ow * start, outCplx, zi + zw * std::min(start, nz), ziCplx,
                     std::min(end, nz) - std::min(start, nz));
        if (!bCplx && !xCplx && !outCplx) {
            firGather(size_t(nb), b, x, out, size_t(start), size_t(end));
            return;
        }
        const i64 k0 = start < nb ? 0 : start - nb + 1;
        for (i64 k = k0; k < start; ++k) {
            const i64 off = start - k;
            updateStep(out, outCplx, size_t(start), x + xw * k, xCplx, b + (bCplx ? 2 : 1) * off, bCplx,
                       size_t(std::min(c, nb - off)));
        }
        const i64 t = end > nb ? end - nb : 0;
        for (i64 k = start; k < t; ++k) updateStep(out, outCplx, size_t(k), x + xw * k, xCplx, b, bCplx, size_t(nb));
        for (i64 k = std::max(start, t); k < end; ++k)
            updateStep(out, outCplx, size_t(k), x + xw * k, xCplx, b, bCplx, size_t(end - k));
    }
};

struct vlFilterFIR_FC {
    // zf[start, end): what is left of zi after the column, plus the tails of the last samples.
    template <class T>
    void operator()(i64 nb, const T* b, i64 xLen, const T* x, i64 nz, const T* zi, T* out, i64 start, i64 end,
                    bool bCplx, bool xCplx, bool ziCplx, bool outCplx) const {
        const i64 c = end - start, L = xLen;
        const int ow = outCplx ? 2 : 1, xw = xCplx ? 2 : 1, zw = ziCplx ? 2 : 1;
        if (zi)
            seedFrom(out + ow * start, outCplx, zi + zw * std::min(nz, L + start), ziCplx,
                     std::min(nz, L + end) - std::min(nz, L + start));
        const i64 k0 = L + start > nz ? L + start - nz : 0;
        for (i64 k = k0; k < L; ++k) {
            const i64 off = L + start - k;
            const i64 n = std::min(c, nb - off);
            if (n > 0)
                updateStep(out, outCplx, size_t(start), x + xw * k, xCplx, b + (bCplx ? 2 : 1) * off, bCplx, size_t(n));
        }
    }
};

}  // namespace vfl_filter
