// The eight cosine and sine entries: the trailing "Variant" pair, then one of two bodies.
#include <cmath>
#include <string>

#include "dcst/dcst_common.hpp"
#include "module/argument_helpers.hpp"
#include "module/entries.hpp"

namespace vlmathdsp {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;

// The type from 1 to 4: an integer scalar, finite when numeric, not complex.
int readVariantValue(const vxArray* value) {
    const bool accepted = (vxIsNumericFlags(value) && vxIsFiniteNumericArray(value)) ||
                          classOf(value) == VX_LOGICAL_CLASS || (value->flags & VX_FLAG_SPARSE);
    if (!accepted || vxIsComplexFlags(value) || !vxIsScalar(value)) raise<VELTRA::dcstfcn::InvalidVariantValue>();
    const double v = vxGetScalar(value);
    if (!(v >= 1.0 && v <= 4.0) || v != std::floor(v)) raise<VELTRA::dcstfcn::InvalidVariantValue>();
    return int(v);
}

// Reads and drops the trailing name-value pair when the argument before the last is text; the
// type defaults to 2, and an inverse swaps types 2 and 3.
DcstTransform readTransform(int nlhs, int& nrhs, const vxArray** prhs, bool isDCT, int sign) {
    checkArgumentCounts(nlhs, 1, nrhs, 1, 5);
    DcstTransform transform{2, isDCT, sign};
    if (nrhs > 1 && classOf(prhs[nrhs - 2]) == VX_CHAR_CLASS) {
        std::u16string name;
        if (!Veltrix::String::getScalarText(prhs[nrhs - 2], name, false) ||
            !matchesOption({name.data(), name.size()}, keywordView(u"Variant")))
            raise<VELTRA::dcstfcn::InvalidVariantString>();
        transform.type = readVariantValue(prhs[nrhs - 1]);
        nrhs -= 2;
    } else if (nrhs >= 4) {
        raise<VELTRA::dcstfcn::InvalidVariantString>();
    }
    if (sign > 0 && (transform.type == 2 || transform.type == 3)) transform.type = 5 - transform.type;
    return transform;
}

template <bool isDCT, int sign, bool allDimensions>
void entry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) {
    const DcstTransform transform = readTransform(nlhs, nrhs, prhs, isDCT, sign);
    if (allDimensions) dcstnBody(nlhs, plhs, nrhs, prhs, transform);
    else dcstBody(nlhs, plhs, nrhs, prhs, transform);
}

}  // namespace

void dctEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) { entry<true, -1, false>(nlhs, plhs, nrhs, prhs); }
void idctEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) { entry<true, +1, false>(nlhs, plhs, nrhs, prhs); }
void dstEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) { entry<false, -1, false>(nlhs, plhs, nrhs, prhs); }
void idstEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) { entry<false, +1, false>(nlhs, plhs, nrhs, prhs); }
void dctnEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) { entry<true, -1, true>(nlhs, plhs, nrhs, prhs); }
void idctnEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) { entry<true, +1, true>(nlhs, plhs, nrhs, prhs); }
void dstnEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) { entry<false, -1, true>(nlhs, plhs, nrhs, prhs); }
void idstnEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) { entry<false, +1, true>(nlhs, plhs, nrhs, prhs); }

}  // namespace vlmathdsp
