// Real division is a true division; complex division is Smith's.
#include "filter/divide.hpp"

#include "common/exact_arith.hpp"
#include "common/parallel_range.hpp"
#include "module/argument_helpers.hpp"

namespace vfl_filter {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;

// Above this many elements the division runs in parallel, in grains of this size.
constexpr size_t kDivideGrain = 256;

// Kept scalar: the block vectoriser would pair the two parts of a quotient into a fused
// multiply-subtract-add, which rounds once where the division's formula rounds twice.
template <class T>
__attribute__((optimize("no-tree-slp-vectorize"))) void divide(const T* in, bool inCplx, T* out, size_t begin, size_t end, T dr, T di, bool divisorCplx) {
    for (size_t i = begin; i < end; ++i) {
        if (!divisorCplx) {
            if (inCplx) out[2 * i] = in[2 * i] / dr, out[2 * i + 1] = in[2 * i + 1] / dr;
            else out[i] = in[i] / dr;
        } else {
            const T u = inCplx ? in[2 * i] : in[i], v = inCplx ? in[2 * i + 1] : T(0);
            const std::complex<T> q = vlcommon::smithQuotient(u, v, dr, di);
            out[2 * i] = q.real(), out[2 * i + 1] = q.imag();
        }
    }
}

}  // namespace

vxArray* divideByScalar(const vxArray* v, vxClassID workClass, double dr, double di, bool divisorComplex) {
    const bool inCplx = vxIsComplexFlags(v);
    const size_t count = v->get_number_of_elements();
    vxArray* out = vxCreateNumericArray(v->numDims, v->get_dimensions(), workClass, inCplx || divisorComplex ? vxCOMPLEX : vxREAL);
    vlmathdsp::withRealType(out, [&](auto type) {
        using T = typename decltype(type)::type;
        vlcommon::runRange(count > kDivideGrain, size_t(0), count, kDivideGrain, [&](const tbb::blocked_range<size_t>& r) {
            divide(static_cast<const T*>(v->data), inCplx, static_cast<T*>(out->data), r.begin(), r.end(), T(dr), T(di),
                   divisorComplex);
        });
    });
    return out;
}

}  // namespace vfl_filter
