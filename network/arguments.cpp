#include "network/arguments.hpp"

#include <algorithm>
#include <cmath>

#include "module/argument_helpers.hpp"
#include "module/exception.hpp"
#include "module/owned_array.hpp"

namespace vfl_network {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;
using vlmathdsp::classOf;
using vlmathdsp::raise;
using vlmathdsp::raiseBadSubscript;

constexpr size_t kMaxDims = 4;
constexpr double kTwo63 = 9223372036854775808.0, kTwo64 = 18446744073709551616.0;

}  // namespace

uint64_t truncatedUnsigned(double x) {
    if (std::isnan(x)) return 0;
    if (x >= kTwo64) return UINT64_MAX;
    if (x >= 0) return uint64_t(x);
    if (x <= -kTwo63) return uint64_t(INT64_MIN);
    return uint64_t(int64_t(x));  // wraps
}

std::vector<uint64_t> countedValues(const vxArray* a, size_t count, const char* text) {
    if (classOf(a) != VX_DOUBLE_CLASS || vxIsSparseFlags(a) || vxIsComplexFlags(a) || a->get_number_of_elements() != count)
        raiseBadSubscript(text);
    std::vector<uint64_t> v(count);
    for (size_t i = 0; i < count; ++i) v[i] = truncatedUnsigned(static_cast<const double*>(a->data)[i]);
    return v;
}

std::vector<uint64_t> convertedValues(const vxArray* a, size_t count, const char* text) {
    if (!vxIsNumericFlags(a) || vxIsSparseFlags(a) || vxIsComplexFlags(a) || a->get_number_of_elements() != count)
        raiseBadSubscript(text);
    const vlmathdsp::OwnedArray u = vlmathdsp::OwnedArray::converted(vxMustBe(a, VX_UINT64_CLASS), a);
    const uint64_t* v = static_cast<const uint64_t*>(u->data);
    return std::vector<uint64_t>(v, v + count);
}

bool truthValue(const vxArray* a, const char* text) {
    const vxClassID id = classOf(a);
    if ((id != VX_DOUBLE_CLASS && id != VX_LOGICAL_CLASS) || !vxIsScalar(a)) raiseBadSubscript(text);
    return vxGetScalar(a) != 0;
}

PoolSettings readPoolSettings(const vxArray* const* prhs) {
    const vxArray* input = prhs[0];
    const vxClassID id = classOf(input);
    if ((id != VX_DOUBLE_CLASS && id != VX_SINGLE_CLASS) || vxIsSparseFlags(input) || vxIsComplexFlags(input) ||
        vxIsEmpty(input) || input->numDims > kMaxDims)
        raiseBadSubscript("Invalid input array.");
    PoolSettings p;
    p.window = convertedValues(prhs[1], 2, "Invalid pooling size.");
    if (std::min(p.window[0], p.window[1]) == 0) raiseBadSubscript("Pooling size must be a positive integer.");
    p.padding = convertedValues(prhs[2], 4, "Invalid padding specification.");
    p.stride = convertedValues(prhs[3], 2, "Invalid stride specification.");
    if (std::min(p.stride[0], p.stride[1]) == 0) raiseBadSubscript("Stride must be a positive integer.");
    return p;
}

std::vector<uint64_t> readStride(const vxArray* a) {
    if (classOf(a) != VX_DOUBLE_CLASS) raise<VELTRA::stridedConvn::StrideClass>();
    std::vector<uint64_t> s = countedValues(a, 2, "Invalid stride specification.");
    if (std::min(s[0], s[1]) == 0) raise<VELTRA::stridedConvn::InvalidStride>();
    return s;
}

void checkArrayPair(const vxArray* a, const vxArray* b) {
    if (vxIsSparseFlags(a) || vxIsSparseFlags(b)) raise<VELTRA::stridedConvn::SparseInput>();
    const vxClassID id = classOf(a);
    if ((id != VX_DOUBLE_CLASS && id != VX_SINGLE_CLASS) || classOf(b) != id || vxIsComplexFlags(a) ||
        vxIsComplexFlags(b) || vxIsEmpty(a) || vxIsEmpty(b) || a->numDims > kMaxDims || b->numDims > kMaxDims)
        raiseBadSubscript("Invalid array input.");
}

}  // namespace vfl_network
