// The separable form of conv2: classes, the widened result and its shrink, and the choice of
// each pass's vector side.
#include "conv/conv2_paths.hpp"
#include "conv/parallel/separable.hpp"
#include "module/argument_helpers.hpp"
#include "module/owned_array.hpp"

namespace vfl_conv {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;
using vlmathdsp::OwnedArray;

// Runs shorter than this are never zero-skipped, so their finiteness need not be known.
constexpr size_t kShortRun = kAxpyShortRun;

template <class TV, class TC>
void separableOf(const vxArray* a, const vxArray* b, const vxArray* C, vxArray* Y, const ConvWindow& w) {
    SeparableProblem<TV, TC> p{};
    p.a = static_cast<const TV*>(a->data);
    p.b = static_cast<const TV*>(b->data);
    p.na = a->get_number_of_elements();
    p.nb = b->get_number_of_elements();
    p.C = static_cast<const TC*>(C->data);
    p.mC = C->get_dimensions()[0];
    p.nC = vxGetN(C);
    p.result = static_cast<typename SeparableProblem<TV, TC>::Out*>(Y->data);
    p.ldResult = w.outRows;
    p.window = w;
    p.plan();

    // Single vectors against a double C: `a` stays the vector side of the first pass.
    constexpr bool mixed = !std::is_same_v<Real<TV>, Real<TC>>;
    p.longRows = !mixed && p.mC > p.na && p.mC > kShortRun;
    p.longCols = p.nC > p.nb && p.nC > kShortRun;
    const size_t rowRun = std::min(p.longRows ? p.mC : p.na, w.outRows);
    const size_t colRun = std::min(p.longCols ? p.nC : p.nb, w.outCols);
    const bool finiteC = (p.longRows && rowRun > kShortRun) || p.longCols ? vlmathdsp::allFinite(C) : true;
    const bool finiteA = (!p.longRows && rowRun > kShortRun) || p.longCols ? vlmathdsp::allFinite(a) : true;
    const bool finiteB = !p.longCols && colRun > kShortRun ? vlmathdsp::allFinite(b) : true;
    p.firstFlags = {uint8_t(p.longRows ? !finiteC : !finiteA), 1};
    p.secondFlags = {uint8_t(p.longCols ? !(finiteC && finiteA) : !finiteB), 1};
    parallel::runSeparable(p);
}

}  // namespace

vxArray* separableConv2(const vxArray* a0, const vxArray* b0, const vxArray* C0, vlmathdsp::ShapeKind shape) {
    const bool vectorsDouble = vlmathdsp::classOf(a0) != VX_SINGLE_CLASS && vlmathdsp::classOf(b0) != VX_SINGLE_CLASS;
    const vxClassID vectorClass =
        vlmathdsp::classOf(C0) == VX_DOUBLE_CLASS && vectorsDouble ? VX_DOUBLE_CLASS : VX_SINGLE_CLASS;
    auto toVectorClass = [&](const vxArray* v) {
        return OwnedArray(vlmathdsp::classOf(v) == vectorClass ? vxCreateSharedDataCopy(v) : vxMustBe(v, vectorClass));
    };
    OwnedArray a = toVectorClass(a0), b = toVectorClass(b0);
    OwnedArray C(const_cast<vxArray*>(C0), false);
    const bool complex = vxIsComplexFlags(a.get()) || vxIsComplexFlags(b.get()) || vxIsComplexFlags(C0);
    if (complex) {
        auto complexForm = [](OwnedArray& x) {
            if (vxIsComplexFlags(x.get())) return;
            vxArray* source = x.get();
            x = OwnedArray(vxMustBeComplex(1, &source));
        };
        complexForm(a), complexForm(b), complexForm(C);
    }

    const size_t mC = C->get_dimensions()[0], nC = vxGetN(C.get());
    const size_t na = a->get_number_of_elements(), nb = b->get_number_of_elements();
    ConvWindow w = makeWindow(shape, mC, nC, na, nb);
    size_t keptCols = w.outCols;
    const bool widened = w.outRows != 0 && w.outCols != 0 && w.outCols < nC;
    if (widened) {  // the result first holds the intermediate, nC columns wide
        w.outCols = nC;
        w.colEnd = w.colStart - 1 + nC;
    }
    vxArray* Y = vxCreateNumericMatrix(w.outRows, w.outCols, vectorClass, complex ? vxCOMPLEX : vxREAL);
    if (!vxIsEmpty(C.get()) && na && nb && w.outRows && w.outCols) {
        // The window the passes compute is the one asked for; widening only makes room.
        ConvWindow passes = w;
        if (widened) passes.outCols = keptCols, passes.colEnd = passes.colStart - 1 + keptCols;
        vlmathdsp::withElementType(a.get(), [&](auto v) {
            vlmathdsp::withElementType(C.get(), [&](auto c) {
                using TV = typename decltype(v)::type;
                using TC = typename decltype(c)::type;
                if constexpr (IsComplex<TV>::value == IsComplex<TC>::value &&
                              !(std::is_same_v<Real<TV>, double> && std::is_same_v<Real<TC>, float>))
                    separableOf<TV, TC>(a.get(), b.get(), C.get(), Y, passes);
            });
        });
    }
    if (widened) {
        const size_t bytes = vxGetElementSize(Y) * keptCols * w.outRows;
        vxSetData(Y, vxRealloc(Y->data, bytes));
        vxSetN(Y, keptCols);
    }
    vxFreeImagIfZero(Y);
    return Y;
}

}  // namespace vfl_conv
