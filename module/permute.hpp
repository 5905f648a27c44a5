// The host's permutation built-in, called with a one-based order of dimensions.
#pragma once

#include <algorithm>
#include <vector>

#include "module/owned_array.hpp"

namespace vlmathdsp {

// The array permuted by `order`, which names every dimension of the array once (and may name
// trailing ones of length 1). The host runs large permutations in parallel.
inline vxArray* permuted(const vxArray* a, const std::vector<double>& order) {
    using namespace matrix::detail::noninlined::vx_array_api;
    OwnedArray o(vxCreateDoubleMatrix(1, order.size(), vxREAL));
    std::copy(order.begin(), order.end(), static_cast<double*>(o->data));
    vxArray* in[2] = {const_cast<vxArray*>(a), o.get()};
    vxArray* out[1] = {nullptr};
    vxPermuteFcn(1, out, 2, in);
    return out[0];
}

}  // namespace vlmathdsp
