// Entries of the built-ins, by subsystem. All have the one built-in signature.
#pragma once

#include "module/host_interface.hpp"

namespace vlmathdsp {

#define VLMATHDSP_BUILTIN(name) void name(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs)

// Network primitives.
VLMATHDSP_BUILTIN(convForwardEntry);
VLMATHDSP_BUILTIN(convBackwardEntry);
VLMATHDSP_BUILTIN(poolForwardMaxEntry);
VLMATHDSP_BUILTIN(poolForwardAverageEntry);
VLMATHDSP_BUILTIN(poolBackwardEntry);
VLMATHDSP_BUILTIN(windowNormEntry);
// Convolution.
VLMATHDSP_BUILTIN(conv2Entry);
VLMATHDSP_BUILTIN(convncEntry);
VLMATHDSP_BUILTIN(stridedConvnEntry);
VLMATHDSP_BUILTIN(convPartEntry);
// Fourier.
VLMATHDSP_BUILTIN(fftForwardEntry);
VLMATHDSP_BUILTIN(fftInverseEntry);
VLMATHDSP_BUILTIN(fftnForwardEntry);
VLMATHDSP_BUILTIN(fftnInverseEntry);
VLMATHDSP_BUILTIN(fftwControlEntry);
VLMATHDSP_BUILTIN(fftwVersionInfoEntry);
// Cosine and sine.
VLMATHDSP_BUILTIN(dctEntry);
VLMATHDSP_BUILTIN(idctEntry);
VLMATHDSP_BUILTIN(dstEntry);
VLMATHDSP_BUILTIN(idstEntry);
VLMATHDSP_BUILTIN(dctnEntry);
VLMATHDSP_BUILTIN(idctnEntry);
VLMATHDSP_BUILTIN(dstnEntry);
VLMATHDSP_BUILTIN(idstnEntry);
// Filtering and state space.
VLMATHDSP_BUILTIN(filterEntry);
VLMATHDSP_BUILTIN(ltitrEntry);

#undef VLMATHDSP_BUILTIN

// Registers the package functions into the host's packages.
void registerPackageFunctions();

}  // namespace vlmathdsp
