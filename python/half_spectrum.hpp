// Built-ins of the Python extension itself, run through the host like the library's.
#pragma once

#include "module/host_interface.hpp"

namespace vlpy {

// (x, n, dim): the real-to-complex transform of x along the one-based dimension dim, padded or cut
// to n, kept to its n / 2 + 1 non-negative frequencies.
void halfSpectrum(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs);

}  // namespace vlpy
