// The conversion loops, compiled once per instruction-set level.
#include "host/kernels/convert.hpp"

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include "host/class_dispatch.hpp"

namespace vlhost::kernels::VL_ISA {

namespace {

using detail::dispatchClass;

template <class D, class S>
D convertValue(S v) {
    if constexpr (std::is_same_v<D, bool>) {
        return v != S(0);
    } else if constexpr (std::is_floating_point_v<D>) {
        return static_cast<D>(v);
    } else {
        using Limits = std::numeric_limits<D>;
        if constexpr (std::is_floating_point_v<S>) {
            const double x = static_cast<double>(v);
            if (std::isnan(x)) return D(0);
            const double r = std::round(x);
            if (r <= static_cast<double>(Limits::min())) return Limits::min();
            // The limit as a double may round up past the largest value: compare with >=.
            if (r >= static_cast<double>(Limits::max())) return Limits::max();
            return static_cast<D>(r);
        } else if constexpr (std::is_same_v<S, bool>) {
            return static_cast<D>(v);
        } else {
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
}

// Elements of B bytes, moved as their bits.
template <size_t B>
struct Bits {
    unsigned char bytes[B];
};

template <class F>
void bySize(size_t bytes, const F& f) {
    switch (bytes) {
        case 1: return f(Bits<1>{});
        case 2: return f(Bits<2>{});
        case 4: return f(Bits<4>{});
        default: return f(Bits<8>{});
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
        for (size_t i = 0; i < count; ++i) out[2 * i] = in[i];
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
