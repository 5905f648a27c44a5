// The conversion loops, compiled once per instruction-set level.
#include "host/kernels/convert.hpp"

#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "host/class_dispatch.hpp"

namespace vlhost::kernels::VL_ISA {

namespace {

using detail::dispatchClass;

// x rounded to nearest with ties away from zero, saturated at D's limits, NaN as 0. Inside the
// limits the truncation is exact and so is the fraction x - t: one comparison rounds it, in a
// form that vectorises (std::round is a library call).
template <class D>
D roundToInteger(double x) {
    using Limits = std::numeric_limits<D>;
    // The narrowest integer that holds every value inside D's limits.
    using Wide = std::conditional_t<(sizeof(D) < 4 || (sizeof(D) == 4 && std::is_signed_v<D>)), int32_t,
                                    std::conditional_t<std::is_signed_v<D>, int64_t, uint64_t>>;
    const double lo = static_cast<double>(Limits::min()), hi = static_cast<double>(Limits::max());
    if (x != x) return D(0);
    // The limit as a double may round up past the largest value: compare with >=.
    if (x <= lo) return Limits::min();
    if (x >= hi) return Limits::max();
    const Wide t = static_cast<Wide>(x);
    const double f = x - static_cast<double>(t);
    return static_cast<D>(f >= 0.5 ? t + 1 : f <= -0.5 ? t - 1 : t);
}

template <class D, class S>
D convertValue(S v) {
    if constexpr (std::is_same_v<D, bool>) {
        return v != S(0);
    } else if constexpr (std::is_floating_point_v<D>) {
        return static_cast<D>(v);
    } else if constexpr (std::is_floating_point_v<S>) {
        return roundToInteger<D>(static_cast<double>(v));
    } else if constexpr (std::is_same_v<S, bool>) {
        return static_cast<D>(v);
    } else {
        using Limits = std::numeric_limits<D>;
        if constexpr (std::is_signed_v<S>) {
            if (v < 0) {
                if constexpr (!std::is_signed_v<D>) return D(0);
                else if (static_cast<long long>(v) < static_cast<long long>(Limits::min())) return Limits::min();
                return static_cast<D>(v);
            }
        }
        if (static_cast<unsigned long long>(v) > static_cast<unsigned long long>(Limits::max())) return Limits::max();
        return static_cast<D>(v);
    }
}

// f with an unsigned integer type of `bytes` bytes: elements move as their bits.
template <class F>
void bySize(size_t bytes, const F& f) {
    switch (bytes) {
        case 1: return f(uint8_t());
        case 2: return f(uint16_t());
        case 4: return f(uint32_t());
        default: return f(uint64_t());
    }
}

}  // namespace

void convertData(vxClassID from, const void* src, vxClassID to, void* dst, size_t count) {
    dispatchClass(from, [&](auto s) {
        using S = typename decltype(s)::type;
        if constexpr (!std::is_void_v<S>) {
            dispatchClass(to, [&](auto d) {
                using D = typename decltype(d)::type;
                if constexpr (!std::is_void_v<D>) {
                    const S* in = static_cast<const S*>(src);
                    D* out = static_cast<D*>(dst);
                    for (size_t i = 0; i < count; ++i) out[i] = convertValue<D, S>(in[i]);
                }
            });
        }
    });
}

void realToComplex(const void* src, void* dst, size_t count, size_t bytes) {
    bySize(bytes, [&](auto e) {
        using E = decltype(e);
        const E* in = static_cast<const E*>(src);
        E* out = static_cast<E*>(dst);
        for (size_t i = 0; i < count; ++i) out[2 * i] = in[i], out[2 * i + 1] = 0;
    });
}

void keepRealParts(void* data, size_t count, size_t bytes) {
    bySize(bytes, [&](auto e) {
        using E = decltype(e);
        E* p = static_cast<E*>(data);
        for (size_t i = 1; i < count; ++i) p[i] = p[2 * i];
    });
}

bool imaginaryAllZero(vxClassID id, const void* data, size_t count) {
    return dispatchClass(id, [&](auto t) {
        using T = typename decltype(t)::type;
        if constexpr (std::is_void_v<T>) {
            return false;
        } else {
            // In chunks: the loop within one runs whole vectors, and a non-zero part ends the scan.
            constexpr size_t kChunk = 256;
            const T* p = static_cast<const T*>(data);
            for (size_t b = 0; b < count; b += kChunk) {
                const size_t e = count - b < kChunk ? count : b + kChunk;
                bool zero = true;
                for (size_t i = b; i < e; ++i) zero &= p[2 * i + 1] == T(0);
                if (!zero) return false;
            }
            return true;
        }
    });
}

}  // namespace vlhost::kernels::VL_ISA
