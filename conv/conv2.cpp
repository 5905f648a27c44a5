// conv2: argument handling, the window, the result's class, and the choice of path.
#include <utility>

#include "conv/conv2_paths.hpp"
#include "conv/cores.hpp"
#include "module/argument_helpers.hpp"
#include "module/entries.hpp"
#include "module/owned_array.hpp"

namespace vlmathdsp {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;
using vfl_conv::ConvPath;

// Density below which an operand's zeros are worth skipping.
constexpr float kSparseDensity = 0.3f;
// Kind 1 for a short operand of 256 to 512 against at most 1024.
constexpr size_t kDotShortMin = 256, kDotShortSpan = 257, kDotLongMax = 1024;
// Kind 3 for double, a short operand of at most 128 against 524288 to 33554432.
constexpr size_t kPhasedShortMax = 128, kPhasedLongMin = 524288, kPhasedLongSpan = 33030145;
// Up to this length, or below this ratio of lengths, kind 0 keeps the longer operand first.
constexpr size_t kAxpyLongMax = 262144, kAxpyRatio = 51;

struct KindChoice {
    ConvPath path;
    bool aIsFirst;
};

KindChoice chooseKind(vxClassID classA, vxClassID classB, bool oneDimensional, size_t mA, size_t mB) {
    bool aIsFirst = mB < mA;
    if (classA != classB) return {oneDimensional ? vfl_conv::PATH_AXPY_1D : vfl_conv::PATH_PLANS_2D, classB == VX_DOUBLE_CLASS};
    if (!oneDimensional) return {vfl_conv::PATH_PLANS_2D, aIsFirst};
    const size_t small = std::min(mA, mB), large = std::max(mA, mB);
    if (small - kDotShortMin < kDotShortSpan && large <= kDotLongMax) return {vfl_conv::PATH_DOT_1D, aIsFirst};
    if (classA == VX_DOUBLE_CLASS && small <= kPhasedShortMax && large - kPhasedLongMin < kPhasedLongSpan)
        return {vfl_conv::PATH_PHASED_1D, aIsFirst};
    if (large <= kAxpyLongMax || large / small < kAxpyRatio) return {vfl_conv::PATH_AXPY_1D, aIsFirst};
    return {vfl_conv::PATH_AXPY_1D, mB > mA};
}

}  // namespace

vxArray* conv2Core(const vxArray* A, const vxArray* B, ShapeKind shape, const vfl_conv::PartCall* part) {
    size_t mA = A->get_dimensions()[0], nA = vxGetN(A), mB = B->get_dimensions()[0], nB = vxGetN(B);
    vfl_conv::ConvWindow w = vfl_conv::makeWindow(shape, mA, nA, mB, nB);
    if (part) w = {part->hi[0] - part->lo[0], part->hi[1] - part->lo[1], part->lo[0], part->hi[0] - 1, part->lo[1], part->hi[1] - 1};
    const vxClassID classA = classOf(A), classB = classOf(B);
    const vxClassID resultClass = classA == classB ? classA : VX_SINGLE_CLASS;
    if (vxIsEmpty(A) || vxIsEmpty(B) || w.outRows == 0 || w.outCols == 0)
        return vxCreateNumericMatrix(w.outRows, w.outCols, resultClass, vxREAL);
    const bool complex = vxIsComplexFlags(A) || vxIsComplexFlags(B);
    const bool columns = nA == 1 && nB == 1;
    const bool rows = mA == 1 && mB == 1;
    const bool oneDimensional = columns || rows;
    // The two-dimensional paths write every element; the others add into zeros.
    const vxComplexity complexity = complex ? vxCOMPLEX : vxREAL;
    vxArray* Y = oneDimensional ? vxCreateNumericMatrix(w.outRows, w.outCols, resultClass, complexity)
                                : vxCreateUninitNumericMatrix(w.outRows, w.outCols, resultClass, complexity);

    if (oneDimensional && !columns) {  // a row has the layout of a column
        std::swap(mA, nA), std::swap(mB, nB);
        std::swap(w.rowStart, w.colStart), std::swap(w.rowEnd, w.colEnd);
    }
    // A part decides as its whole does; its vectors are taken whole, as they are.
    const bool whole2D = part && !oneDimensional;

    bool finiteA = false, finiteB = false;
    float densityA = 1.0f, densityB = 1.0f;
    if (!oneDimensional) {
        const ArrayFacts b = scanFacts(B);
        // Against a B that is not sparse, A's facts matter only when A is sparse enough to be
        // walked as such, and only if B is finite: a dense A need not be read to the end. Its
        // finiteness is not needed then, as the two-dimensional walks multiply every tap.
        const bool aDense = !whole2D && b.density >= kSparseDensity && (!b.finite || denseAtLeast(A, kSparseDensity));
        const ArrayFacts a = aDense ? ArrayFacts{true, 1.0f} : whole2D ? ArrayFacts{part->finite, part->density}
                                                                       : scanFacts(A);
        finiteA = a.finite, finiteB = b.finite, densityA = a.density, densityB = b.density;
    }
    // The dense operand must be finite: a skipped zero tap would lose the NaN of 0 * Inf.
    const bool aSparse = densityB > densityA && densityA < kSparseDensity && finiteB;
    const bool bSparse = !aSparse && densityA >= densityB && densityB < kSparseDensity && finiteA;
    if (!oneDimensional && (aSparse || bSparse)) {
        if (aSparse) vfl_conv::runConv2Path(vfl_conv::PATH_SPARSE_2D, Y, w, B, mB, nB, A, mA, nA, false);
        else vfl_conv::runConv2Path(vfl_conv::PATH_SPARSE_2D, Y, w, A, mA, nA, B, mB, nB, false);
    } else {
        const KindChoice choice = chooseKind(classA, classB, oneDimensional, whole2D ? part->wholeSize[0] : mA, mB);
        const vxArray* first = choice.aIsFirst ? A : B;
        const bool firstFinite = oneDimensional ? allFinite(first) : (choice.aIsFirst ? finiteA : finiteB);
        if (choice.aIsFirst)
            vfl_conv::runConv2Path(choice.path, Y, w, A, mA, nA, B, mB, nB, !firstFinite);
        else
            vfl_conv::runConv2Path(choice.path, Y, w, B, mB, nB, A, mA, nA, !firstFinite);
    }
    vxFreeImagIfZero(Y);
    return Y;
}

namespace {

bool isTextOption(const vxArray* a) { return classOf(a) == VX_CHAR_CLASS || Veltrix::String::isString(a); }

}  // namespace

void conv2Entry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) {
    checkArgumentCounts(nlhs, 1, nrhs, 2, 4);
    if (prhs[0]->numDims >= 3 || prhs[1]->numDims >= 3) raise<VELTRA::conv2::ndArrayInput>();
    const bool separable = nrhs == 4 || (nrhs == 3 && !isTextOption(prhs[2]));
    if (!separable) {
        OwnedArray A(toWorkingClass<VELTRA::conv2::inputType>(prhs[0]));
        OwnedArray B(toWorkingClass<VELTRA::conv2::inputType>(prhs[1]));
        const ShapeKind shape = nrhs == 3 ? parseShapeOption(prhs[2]) : SHAPE_FULL;
        plhs[0] = conv2Core(A.get(), B.get(), shape);
        return;
    }
    OwnedArray a(toWorkingClass<VELTRA::conv2::inputTypeSeparable>(prhs[0]));
    OwnedArray b(toWorkingClass<VELTRA::conv2::inputTypeSeparable>(prhs[1]));
    OwnedArray C(toWorkingClass<VELTRA::conv2::inputTypeSeparable>(prhs[2]));
    const ShapeKind shape = nrhs == 4 ? parseShapeOption(prhs[3]) : SHAPE_FULL;
    if (!vxIsVector(a.get()) || !vxIsVector(b.get())) raise<VELTRA::conv2::firstTwoInputsNotVectors>();
    plhs[0] = vfl_conv::separableConv2(a.get(), b.get(), C.get(), shape);
}

}  // namespace vlmathdsp
