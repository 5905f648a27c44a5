// The convolution engine computes in the shared element types and exact arithmetic.
#pragma once

#include "common/exact_arith.hpp"

namespace vfl_conv {
using namespace vlcommon;
}  // namespace vfl_conv
