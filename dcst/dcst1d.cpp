// The cosine and sine transforms along one dimension, padded or truncated to n.
#include "dcst/dcst_common.hpp"

namespace vlmathdsp {

using namespace matrix::detail::noninlined::vx_array_api;

void dcstBody(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs, DcstTransform transform) {
    checkArgumentCounts(nlhs, 1, nrhs, 1, 3);
    OwnedArray xWork = dcstInput(prhs[0]);
    const size_t nd = xWork->numDims;
    const size_t* dims = xWork->get_dimensions();
    const size_t dim0 = nrhs == 3 ? mathcoreGetDimArg(prhs[2]) : mathcoreFindFirstNonSingleton(nd, dims);
    const size_t len = dim0 < nd ? dims[dim0] : 1;
    size_t stride = 1;
    for (size_t i = 0; i < std::min(dim0, nd); ++i) stride *= dims[i];
    size_t n = len;
    if (nrhs >= 2 && !vxIsEmpty(prhs[1])) {
        bool irregular;
        n = vfl_fft::readLength<VELTRA::dcstfcn::DCSTLengthNotNonNegInt>(prhs[1], irregular);
        // A DCT-I of length 1 fails next: no warning first.
        if (irregular && !(transform.isDct1() && n == 1)) warn<VELTRA::dcstfcn::DCSTLengthNotNonNegInt>();
    }
    if (transform.isDct1() && n == 1) raise<VELTRA::dcstfcn::DCT1Length1>();

    const vxClassID id = classOf(xWork.get());
    const vxComplexity complexity = vxIsComplexFlags(xWork.get()) ? vxCOMPLEX : vxREAL;
    OwnedArray output;
    if (len == n) {
        std::vector<size_t> same(dims, dims + nd);
        output = OwnedArray(vxCreateUninitNumericArray(nd, same.data(), id, complexity));
    } else {
        const std::vector<size_t> outDims = vfl_fft::dimsWithLength(xWork.get(), dim0, n);
        output = OwnedArray(vxCreateNumericArray(outDims.size(), outDims.data(), id, complexity));
    }
    if (!vxIsEmpty(xWork.get()) && !vxIsEmpty(output.get()))
        runDcstPass(transform, xWork.get(), output.get(), stride, n, len, output->get_number_of_elements() / n);
    plhs[0] = output.release();
    vxFreeImagIfZero(plhs[0]);
}

}  // namespace vlmathdsp
