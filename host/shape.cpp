// Shape changes, data replacement, and the index and dimension readers.
#include <cmath>

#include "host/array.hpp"
#include "host/errors.hpp"

namespace matrix::detail::noninlined::vx_array_api {

using namespace vlhost::detail;

void vxSetM(vxArray* a, size_t m) { host(a)->dims[0] = m; }

void vxSetN(vxArray* a, size_t n) {
    HostArray* h = host(a);
    h->dims.resize(2);
    h->dims[1] = n;
    h->numDims = 2;
}

int vxSetDimensions(vxArray* a, const size_t* dims, size_t ndims) {
    HostArray* h = host(a);
    h->dims.assign(dims, dims + ndims);
    normalizeDims(h->dims);
    h->numDims = h->dims.size();
    return 0;
}

void vxSetData(vxArray* a, void* data) {
    HostArray* h = host(a);
    if (h->block && h->block->ptr == data) {
        h->block->bytes = allocatedBytes(data);
        return;
    }
    untrackBytes(data);
    markArrayData(data, true);
    auto* block = new DataBlock;
    block->ptr = data;
    block->bytes = allocatedBytes(data);
    releaseBlock(h->block);
    h->block = block;
    h->data = data;
}

size_t vxCheckIndex(double value) {
    constexpr double kLimit = 9223372036854775808.0;  // 2^63
    if (!(value >= 0.0) || value >= kLimit)
        raiseHostError("invalidIndex");
    return static_cast<size_t>(std::round(value));
}

}  // namespace matrix::detail::noninlined::vx_array_api

using namespace matrix::detail::noninlined::vx_array_api;

size_t mathcoreGetDimArg(const vxArray* a) {
    const HostArray* h = host(a);
    // A complex value is read by its real part.
    const bool number = classFlags(h->classOf, false) != 0 || h->classOf == VX_LOGICAL_CLASS;
    if (!number || h->kind != Kind::Numeric || numel(h->dims) != 1) raiseHostError("invalidDimension");
    const double v = vxGetScalar(a);
    if (!(v >= 1.0) || v != std::floor(v) || v >= 9007199254740992.0) raiseHostError("invalidDimension");
    return static_cast<size_t>(v) - 1;
}

size_t mathcoreFindFirstNonSingleton(size_t ndims, const size_t* dims) {
    for (size_t i = 0; i < ndims; ++i)
        if (dims[i] != 1) return i;
    return 0;
}
