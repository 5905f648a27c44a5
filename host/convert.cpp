// Class conversions: integers round to nearest with ties away from zero, saturate at their
// limits and take NaN as 0; logical is true for non-zero.
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include "host/array.hpp"
#include "host/class_dispatch.hpp"
#include "host/errors.hpp"

namespace vlhost::detail {

namespace {

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

template <class D, class S>
void convertRun(const S* src, D* dst, size_t count) {
    for (size_t i = 0; i < count; ++i) dst[i] = convertValue<D, S>(src[i]);
}

// Converts count scalars (twice as many for complex data) from one class to another.
void convertData(vxClassID from, const void* src, vxClassID to, void* dst, size_t count) {
    dispatchClass(from, [&](auto s) {
        using S = typename decltype(s)::type;
        if constexpr (!std::is_void_v<S>) {
            dispatchClass(to, [&](auto d) {
                using D = typename decltype(d)::type;
                if constexpr (!std::is_void_v<D>)
                    convertRun<D, S>(static_cast<const S*>(src), static_cast<D*>(dst), count);
            });
        }
    });
}

bool isConvertible(vxClassID id) {
    return id == VX_LOGICAL_CLASS || id == VX_CHAR_CLASS || classFlags(id, false) != 0;
}

std::string className(vxClassID id) {
    static const char* names[] = {"unknown", "cell",  "struct", "logical", "char",   "void",
                                  "double",  "single", "int8",  "uint8",   "int16",  "uint16",
                                  "int32",   "uint32", "int64", "uint64",  "function", "object"};
    return id >= 0 && id <= VX_OBJECT_CLASS ? names[id] : "class " + std::to_string(id);
}

// A full array with the values of a sparse one, in its own class.
HostArray* sparseToFull(const HostArray* s) {
    const bool cplx = isComplex(s);
    HostArray* f = makeNumeric(s->dims, s->classOf, cplx, true);
    const size_t elem = classElementBytes(s->classOf) * (cplx ? 2 : 1);
    const size_t m = s->dims[0];
    const char* values = static_cast<const char*>(s->data);
    char* out = static_cast<char*>(f->data);
    for (size_t j = 0; j < s->dims[1]; ++j)
        for (size_t k = s->jc[j]; k < s->jc[j + 1]; ++k)
            std::memcpy(out + (s->ir[k] + j * m) * elem, values + k * elem, elem);
    return f;
}

// Keeps the real parts of a complex array, in place.
void compactToReal(HostArray* h) {
    makeUnique(h);
    const size_t elem = classElementBytes(h->classOf);
    const size_t count = h->kind == Kind::Sparse ? h->jc[h->dims[1]] : numel(h->dims);
    char* p = static_cast<char*>(h->data);
    for (size_t i = 1; i < count; ++i) std::memmove(p + i * elem, p + 2 * i * elem, elem);
    h->flags = (h->flags & VX_FLAG_SPARSE) | classFlags(h->classOf, false);
}

template <class T>
bool imaginaryAllZero(const T* p, size_t count) {
    for (size_t i = 0; i < count; ++i)
        if (p[2 * i + 1] != T(0)) return false;
    return true;
}

}  // namespace

}  // namespace vlhost::detail

namespace matrix::detail::noninlined::vx_array_api {

using namespace vlhost::detail;

vxArray* vxMustBe(const vxArray* a, vxClassID target) {
    const HostArray* h = host(a);
    if (h->kind == Kind::Numeric && h->classOf == target) return const_cast<vxArray*>(a);
    if (!isConvertible(target) || (h->kind != Kind::Numeric && h->kind != Kind::Sparse))
        raiseHostError("invalidConversion", "from " + className(h->classOf) + " to " + className(target));
    const bool cplx = isComplex(a);
    if (cplx && (target == VX_LOGICAL_CLASS || target == VX_CHAR_CLASS))
        raiseHostError("invalidConversion", "complex values to " + className(target));
    if (h->kind == Kind::Sparse) {
        HostArray* full = sparseToFull(h);
        if (full->classOf == target) return full;
        vxArray* converted = vxMustBe(full, target);
        vxDestroyArray(full);
        return converted;
    }
    HostArray* out = makeNumeric(h->dims, target, cplx, false);
    convertData(h->classOf, h->data, target, out->data, numel(h->dims) * (cplx ? 2 : 1));
    return out;
}

vxArray* vxMustBeComplex(int, vxArray** const arrays) {
    const HostArray* h = host(arrays[0]);
    if (h->kind == Kind::Sparse) {
        HostArray* full = sparseToFull(h);
        vxArray* c = vxMustBeComplex(1, reinterpret_cast<vxArray**>(&full));
        vxDestroyArray(full);
        return c;
    }
    if (isComplex(h)) return vxCreateDeepCopy(h);
    if (h->kind != Kind::Numeric) raiseHostError("invalidConversion", className(h->classOf) + " to complex");
    const vxClassID id = classFlags(h->classOf, false) ? h->classOf : VX_DOUBLE_CLASS;
    HostArray* out = makeNumeric(h->dims, id, true, true);
    const size_t count = numel(h->dims);
    const size_t elem = classElementBytes(id);
    if (id == h->classOf) {
        const char* src = static_cast<const char*>(h->data);
        char* dst = static_cast<char*>(out->data);
        for (size_t i = 0; i < count; ++i) std::memcpy(dst + 2 * i * elem, src + i * elem, elem);
    } else {
        double* dst = static_cast<double*>(out->data);
        std::vector<double> values(count);
        convertData(h->classOf, h->data, VX_DOUBLE_CLASS, values.data(), count);
        for (size_t i = 0; i < count; ++i) dst[2 * i] = values[i];
    }
    return out;
}

vxArray* vxMustBeFullDouble(const vxArray* a) { return vxMustBe(a, VX_DOUBLE_CLASS); }

void vxFreeImagIfZero(vxArray* a) {
    HostArray* h = host(a);
    if (!a || !isComplex(a)) return;
    const size_t count = h->kind == Kind::Sparse ? h->jc[h->dims[1]] : numel(h->dims);
    const bool zero = dispatchClass(h->classOf, [&](auto t) {
        using T = typename decltype(t)::type;
        if constexpr (std::is_void_v<T>) return false;
        else return imaginaryAllZero(static_cast<const T*>(h->data), count);
    });
    if (zero) compactToReal(h);
}

void vxDeflateComplexToReal(vxArray* a) {
    if (isComplex(a)) compactToReal(host(a));
}

}  // namespace matrix::detail::noninlined::vx_array_api
