// Real division is a true division; complex division is Smith's.
#include "filter/divide.hpp"

#include <cmath>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>

namespace vfl_filter {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;

// Above this many elements the division runs in parallel, in grains of this size.
constexpr size_t kDivideGrain = 256;

// (u, v) / (p, q) by Smith's method.
template <class T>
inline void smith(T u, T v, T p, T q, T& re, T& im) {
    const T nan = std::numeric_limits<T>::quiet_NaN();
    if (std::isnan(p) || std::isnan(q)) {
        re = im = nan;
        return;
    }
    if (std::fabs(p) <= std::fabs(q)) {
        if (q == T(0)) {
            re = im = nan;
            return;
        }
        const T w = p / q, s = w * p + q;
        if (std::isnan(s) || s == T(0)) {
            re = im = nan;
            return;
        }
        re = (u * w + v) / s;
        im = (v * w + (-u)) / s;  // v w - u; sums only, so no multiply-add forms
    } else {
        const T w = q / p, s = w * q + p;
        if (std::isnan(s) || s == T(0)) {
            re = im = nan;
            return;
        }
        re = (v * w + u) / s;
        im = (v + (-u) * w) / s;  // v - u w
    }
}

// Kept scalar: the block vectoriser would pair the two parts of a quotient into a fused
// multiply-subtract-add, which rounds once where the division's formula rounds twice.
template <class T>
__attribute__((optimize("no-tree-slp-vectorize"))) void divide(const T* in, bool inCplx, T* out, bool outCplx, size_t begin, size_t end, T dr, T di, bool divisorCplx) {
    for (size_t i = begin; i < end; ++i) {
        if (!divisorCplx) {
            if (inCplx) out[2 * i] = in[2 * i] / dr, out[2 * i + 1] = in[2 * i + 1] / dr;
            else out[i] = in[i] / dr;
        } else {
            const T u = inCplx ? in[2 * i] : in[i], v = inCplx ? in[2 * i + 1] : T(0);
            smith(u, v, dr, di, out[2 * i], out[2 * i + 1]);
        }
        (void)outCplx;
    }
}

}  // namespace

vxArray* divideByScalar(const vxArray* v, vxClassID workClass, double dr, double di, bool divisorComplex) {
    const bool inCplx = vxIsComplexFlags(v);
    const bool outCplx = inCplx || divisorComplex;
    const size_t count = v->get_number_of_elements();
    vxArray* out = vxCreateNumericArray(v->numDims, v->get_dimensions(), workClass, outCplx ? vxCOMPLEX : vxREAL);
    auto run = [&](size_t b, size_t e) {
        if (workClass == VX_SINGLE_CLASS)
            divide(static_cast<const float*>(v->data), inCplx, static_cast<float*>(out->data), outCplx, b, e, float(dr),
                   float(di), divisorComplex);
        else
            divide(static_cast<const double*>(v->data), inCplx, static_cast<double*>(out->data), outCplx, b, e, dr, di,
                   divisorComplex);
    };
    if (count <= kDivideGrain) {
        run(0, count);
    } else {
        tbb::parallel_for(tbb::blocked_range<size_t>(0, count, kDivideGrain),
                          [&](const tbb::blocked_range<size_t>& r) { run(r.begin(), r.end()); },
                          tbb::auto_partitioner());
    }
    return out;
}

}  // namespace vfl_filter
