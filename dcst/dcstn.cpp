// The cosine and sine transforms over all dimensions: one pass per dimension, each in place on
// one working array after the first.
#include <algorithm>

#include "dcst/dcst_common.hpp"
#include "fourier/resize.hpp"

namespace vlmathdsp {

using namespace matrix::detail::noninlined::vx_array_api;

void dcstnBody(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs, DcstTransform transform) {
    checkArgumentCounts(nlhs, 1, nrhs, 1, 2);
    OwnedArray xWork = dcstInput(prhs[0]);
    const size_t nd = xWork->numDims;
    const size_t* dims = xWork->get_dimensions();
    std::vector<size_t> outDims(dims, dims + nd);
    bool irregular = false;
    if (nrhs >= 2 && !vxIsEmpty(prhs[1])) {
        using Keys = vfl_fft::SizeKeys<VELTRA::dcstfcn::DCSTLengthNotNonNegInt,
                                       VELTRA::dcstfcn::DCSToutputSizeLessThanNdimsElements,
                                       VELTRA::dcstfcn::DCSToutputSizeNotRealIntRowVector>;
        outDims = vfl_fft::readSizes<Keys>(prhs[1], nd, irregular);
    }
    const bool hasOne = std::find(outDims.begin(), outDims.end(), size_t(1)) != outDims.end();
    // A DCT-I with a size of 1 fails next: no warning first.
    if (irregular && !(transform.isDct1() && hasOne)) warn<VELTRA::dcstfcn::DCSToutputSizeVectorNotNonNegInts>();
    if (transform.isDct1() && hasOne) raise<VELTRA::dcstfcn::DCT1NDLength1>();

    const size_t nOut = outDims.size();
    size_t lead = 0, p = 1;
    while (lead < nd && dims[lead] == outDims[lead]) p *= dims[lead], ++lead;
    OwnedArray output;
    const vxArray* source = xWork.get();
    if (lead == nd && nOut == nd) {
        output = OwnedArray(vxCreateUninitNumericArray(nOut, outDims.data(), classOf(xWork.get()),
                                                       vxIsComplexFlags(xWork.get()) ? vxCOMPLEX : vxREAL));
    } else {
        const size_t d = lead < nOut ? std::min(outDims[lead], lead < nd ? dims[lead] : size_t(1)) : 1;
        output = OwnedArray(vfl_fft::resizeArray(xWork.get(), outDims, lead + 1, d * p, false, false));
        source = output.get();
    }
    if (!vxIsEmpty(xWork.get()) && !vxIsEmpty(output.get())) {
        const size_t N = output->get_number_of_elements();
        size_t stride = 1;
        for (size_t u = 0; u < nOut; ++u) {
            runDcstPass(transform, source, output.get(), stride, outDims[u], outDims[u], N / outDims[u]);
            source = output.get();
            stride *= outDims[u];
        }
    }
    plhs[0] = output.release();
    vxFreeImagIfZero(plhs[0]);
}

}  // namespace vlmathdsp
