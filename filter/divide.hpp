// Division of coefficient arrays by the first denominator element.
#pragma once

#include "module/host_interface.hpp"

namespace vfl_filter {

// A new array of workClass: `v` divided element by element by the scalar (dr, di); complex when
// `v` or the divisor is.
vxArray* divideByScalar(const vxArray* v, vxClassID workClass, double dr, double di, bool divisorComplex);

}  // namespace vfl_filter
