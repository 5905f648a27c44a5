// Class conversions: integers round to nearest with ties away from zero, saturate at their
// limits and take NaN as 0; logical is true for non-zero.
#include <cstring>

#include "host/array.hpp"
#include "host/errors.hpp"
#include "host/kernels/convert.hpp"

namespace vlhost::detail {

namespace {

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
    const size_t count = h->kind == Kind::Sparse ? h->jc[h->dims[1]] : numel(h->dims);
    vlhost::kernels::keepRealParts(h->data, count, classElementBytes(h->classOf));
    h->flags = (h->flags & VX_FLAG_SPARSE) | classFlags(h->classOf, false);
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
    vlhost::kernels::convertData(h->classOf, h->data, target, out->data, numel(h->dims) * (cplx ? 2 : 1));
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
        vlhost::kernels::realToComplex(h->data, out->data, count, elem);
    } else {
        std::vector<double> values(count);
        vlhost::kernels::convertData(h->classOf, h->data, VX_DOUBLE_CLASS, values.data(), count);
        vlhost::kernels::realToComplex(values.data(), out->data, count, elem);
    }
    return out;
}

vxArray* vxMustBeFullDouble(const vxArray* a) { return vxMustBe(a, VX_DOUBLE_CLASS); }

void vxFreeImagIfZero(vxArray* a) {
    HostArray* h = host(a);
    if (!a || !isComplex(a)) return;
    const size_t count = h->kind == Kind::Sparse ? h->jc[h->dims[1]] : numel(h->dims);
    if (vlhost::kernels::imaginaryAllZero(h->classOf, h->data, count)) compactToReal(h);
}

void vxDeflateComplexToReal(vxArray* a) {
    if (isComplex(a)) compactToReal(host(a));
}

}  // namespace matrix::detail::noninlined::vx_array_api
