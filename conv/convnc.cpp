// convnc: checks, the result's size and box, early-outs, the collapse of dimensions where both
// operands have length 1, the dense or sparse choice and the order of the operands.
#include <utility>
#include <vector>

#include "conv/conv2_paths.hpp"
#include "conv/cores.hpp"
#include "conv/convn_driver.hpp"
#include "module/argument_helpers.hpp"
#include "module/entries.hpp"

namespace vlmathdsp {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;
using vfl_conv::Sizes;

// Density below which an operand's zeros are worth skipping (single precision, as compared).
constexpr float kSparseDensity = 0.3f;

bool singleOrDouble(const vxArray* a) {
    const vxClassID id = classOf(a);
    return id == VX_SINGLE_CLASS || id == VX_DOUBLE_CLASS;
}

}  // namespace

vxArray* convncCore(const vxArray* A, const vxArray* B, ShapeKind shape, const vfl_conv::PartCall* part) {
    const size_t n = std::max(A->numDims, B->numDims);
    if (n < 3) return conv2Core(A, B, shape, part);
    // A part: its whole's sizes give the box the loop order is chosen from; the part's own window
    // is computed.
    Sizes firstSize = part ? part->wholeSize : paddedSizes(A, n), secondSize = paddedSizes(B, n);
    Sizes outSize(n), rangeLo(n), rangeHi(n);
    for (size_t d = 0; d < n; ++d) {
        const uint64_t a = firstSize[d], b = secondSize[d];
        if (shape == SHAPE_SAME) {
            outSize[d] = a, rangeLo[d] = b / 2, rangeHi[d] = b / 2 + a;
        } else if (shape == SHAPE_FULL) {
            const uint64_t s = a + b < 2 ? 0 : a + b - 1;
            outSize[d] = std::max({a, b, s}), rangeLo[d] = 0, rangeHi[d] = outSize[d];
        } else {
            const uint64_t t = b < 2 ? 0 : b - 1;
            outSize[d] = a > t ? a - t : 0, rangeLo[d] = b - 1, rangeHi[d] = a;
        }
    }
    Sizes wholeFirst = firstSize, wholeLo = rangeLo, wholeHi = rangeHi;
    if (part) firstSize = paddedSizes(A, n), rangeLo = part->lo, rangeHi = part->hi, outSize = vfl_conv::extents(rangeLo, rangeHi);
    vxArray* Y = vfl_conv::convolutionResult(A, B, outSize);
    if (vfl_conv::nothingToCompute(A, B, outSize)) return Y;

    // Dimensions where both operands have length 1 describe nothing; at least two stay.
    size_t kept = 0;
    for (size_t d = 0; d < n; ++d) {
        const bool drop = wholeFirst[d] == 1 && secondSize[d] == 1 && n - (d - kept) > 2;
        if (drop) continue;
        for (Sizes* v : {&firstSize, &secondSize, &rangeLo, &rangeHi, &wholeFirst, &wholeLo, &wholeHi}) (*v)[kept] = (*v)[d];
        ++kept;
    }
    for (Sizes* v : {&firstSize, &secondSize, &rangeLo, &rangeHi, &wholeFirst, &wholeLo, &wholeHi}) v->resize(kept);

    const ArrayFacts a = part ? ArrayFacts{part->finite, part->density} : scanFacts(A), b = scanFacts(B);
    const float densityA = a.density, densityB = b.density;
    const bool finiteA = a.finite, finiteB = b.finite;
    // The sparser operand goes second, its zeros skipped; the first must then be finite, since a
    // skipped zero would lose the NaN of 0 * Inf.
    bool sparse = false, keepOrder = true;
    if (densityB > densityA && densityA < kSparseDensity && finiteB) {
        sparse = true, keepOrder = false;
    } else if (densityA >= densityB && densityB < kSparseDensity) {
        sparse = finiteA;
    }
    if (!sparse) {
        // Dense: the longer first dimension goes first; mixed classes put the single one first.
        keepOrder = classOf(A) == classOf(B) ? secondSize[0] < wholeFirst[0] : classOf(B) == VX_DOUBLE_CLASS;
    }
    const vxArray* first = A;
    const vxArray* second = B;
    bool firstFinite = finiteA;
    if (!keepOrder) std::swap(first, second), std::swap(firstSize, secondSize), firstFinite = finiteB;
    const vfl_conv::OrderSource source{wholeLo, wholeHi, keepOrder ? wholeFirst : firstSize};
    vfl_conv::convNDDriver(Y, rangeLo, rangeHi, first, firstSize, second, secondSize, firstFinite, sparse,
                           part ? &source : nullptr);
    vxFreeImagIfZero(Y);
    return Y;
}

void convncEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) {
    checkArgumentCounts(nlhs, 1, nrhs, 3, 3);
    if (!singleOrDouble(prhs[0]) || !singleOrDouble(prhs[1])) raise<VELTRA::convnc::inputType>();
    if ((prhs[0]->flags | prhs[1]->flags) & VX_FLAG_SPARSE) raise<VELTRA::convnc::SparseInput>();
    const ShapeKind shape = parseShapeWord<VELTRA::convnc::UnsupportedDataType>(prhs[2]);
    plhs[0] = convncCore(prhs[0], prhs[1], shape);
}

}  // namespace vlmathdsp
