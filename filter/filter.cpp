// filter: checks, the working class, the filtered dimension first, initial conditions,
// normalisation by a[0], the y and zf passes, and the way back to the caller's layout.
#include <cmath>
#include <vector>

#include "common/parallel_range.hpp"
#include "filter/divide.hpp"
#include "filter/column_map.hpp"
#include "module/argument_helpers.hpp"
#include "module/entries.hpp"
#include "module/owned_array.hpp"

namespace vlmathdsp {

namespace {

using namespace matrix::detail::noninlined::vx_array_api;
using namespace vfl_filter;

// Column maps go parallel from 8 columns of at least 16 samples and 4096 samples in all;
// a single column is cut into chunks from 1024 samples (FIR only).
constexpr size_t kParallelColumns = 8, kParallelColumnLength = 16, kParallelSamples = 4096;
constexpr size_t kChunkedColumnMin = 1024;

struct Layout {
    size_t dim1;        // the filtered dimension, from 1
    bool permuted;
    OwnedArray xWork;   // the filtered dimension first
    size_t L, nCols;
};

// Dimension dim1 (from 1) of nd brought to the front, or, with `back`, from the front to its place.
vxArray* permuteDimension(const vxArray* a, size_t dim1, size_t nd, bool back) {
    OwnedArray order(vxCreateDoubleMatrix(1, nd, vxREAL));
    double* o = static_cast<double*>(order->data);
    for (size_t i = 0; i < nd; ++i) o[i] = double(i + 1);
    for (size_t i = 0; i < dim1; ++i) o[i] = back ? double(i == dim1 - 1 ? 1 : i + 2) : double(i == 0 ? dim1 : i);
    vxArray* in[2] = {const_cast<vxArray*>(a), order.get()};
    vxArray* out[1] = {nullptr};
    vxPermuteFcn(1, out, 2, in);
    return out[0];
}

bool columnsParallel(size_t nCols, size_t L) {
    return nCols >= kParallelColumns && L >= kParallelColumnLength && nCols * L >= kParallelSamples;
}

Layout filteredDimensionFirst(const vxArray* x, int nrhs, const vxArray* dim) {
    Layout l;
    const size_t nd = x->numDims;
    const size_t* dims = x->get_dimensions();
    if (nrhs == 5) {
        l.dim1 = mathcoreGetDimArg(dim) + 1;
        if (l.dim1 > nd) l.dim1 = nd + 1;
    } else {
        l.dim1 = mathcoreFindFirstNonSingleton(nd, dims) + 1;
    }
    l.permuted = nrhs == 5 && !vxIsEmpty(x) && l.dim1 <= nd;
    if (l.permuted) {
        l.xWork = OwnedArray(permuteDimension(x, l.dim1, nd, false));
    } else {
        const size_t dim0 = l.dim1 - 1;
        std::vector<size_t> sizes(nd + 1, 1);
        if (dim0 < nd) sizes[0] = dims[dim0];
        for (size_t i = 1; i <= dim0 && i <= nd; ++i) sizes[i] = dims[i - 1];
        for (size_t i = dim0 + 1; i < nd; ++i) sizes[i] = dims[i];
        l.xWork = OwnedArray(vxCreateSharedDataCopy(x));
        vxSetDimensions(l.xWork.get(), sizes.data(), sizes.size());
    }
    l.L = l.xWork->get_dimensions()[0];
    l.nCols = vxGetN(l.xWork.get());
    return l;
}

// The stride between columns of initial conditions, after checking zi's shape.
size_t initialConditionStride(const vxArray* zi, size_t order, const Layout& l) {
    const size_t* d = zi->get_dimensions();
    bool allZero = true;
    for (size_t i = 0; i < zi->numDims; ++i) allZero = allZero && d[i] == 0;
    if (allZero) return 0;
    if (zi->numDims == 2) {
        if ((d[0] == order && d[1] == 1) || (d[0] == 1 && d[1] == order)) return 0;
        if (d[0] == order && d[1] == l.nCols) return l.nCols != 1 ? order : 0;
        raise<VELTRA::filter::invalidInitialConditions>();
    }
    const size_t* w = l.xWork->get_dimensions();
    if (d[0] != order || zi->numDims != l.xWork->numDims) raise<VELTRA::filter::invalidInitialConditions>();
    for (size_t i = 1; i < zi->numDims; ++i)
        if (d[i] != w[i]) raise<VELTRA::filter::invalidInitialConditions>();
    return order;
}

// Checks a[0]; true when the coefficients need dividing by it.
template <class T>
bool checkDenominatorHead(const vxArray* a, T& re, T& im) {
    const T* p = static_cast<const T*>(a->data);
    re = p[0];
    im = vxIsComplexFlags(a) ? p[1] : T(0);
    if (!std::isfinite(re) || !std::isfinite(im)) raise<VELTRA::filter::firstElementOfDenominatorFilterNotFinite>();
    if (re == T(0) && im == T(0)) raise<VELTRA::filter::firstElementOfDenominatorFilterZero>();
    return !(re == T(1) && im == T(0));
}

template <class T, bool Fir>
void filterBody(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs, const OwnedArray* args, vxClassID workClass) {
    const vxArray* bArg = args[0].get();
    const vxArray* aArg = args[1].get();
    const vxArray* x = args[2].get();
    const vxArray* zi = nrhs >= 4 ? args[3].get() : nullptr;
    bool isComplex = false;
    for (int i = 0; i < nrhs; ++i) isComplex = isComplex || vxIsComplexFlags(prhs[i]);

    Layout l = filteredDimensionFirst(x, nrhs, nrhs == 5 ? prhs[4] : nullptr);
    ComputationalThreadScope scope;
    OwnedArray y(vxCreateNumericMatrix(l.L, l.nCols, workClass, isComplex ? vxCOMPLEX : vxREAL));
    const i64 nb = i64(bArg->get_number_of_elements()), na = i64(aArg->get_number_of_elements());
    i64 order;
    if (Fir) order = std::max<i64>(nb, 1) - 1;
    else order = std::max(na, nb) == 0 ? 0 : std::max(na, nb) - 1;
    const size_t ziStride = zi ? initialConditionStride(zi, size_t(order), l) : 0;

    OwnedArray bNorm, aNorm;
    const vxArray* b = bArg;
    const vxArray* a = aArg;
    T dr, di;
    if ((Fir || na > 0) && checkDenominatorHead(aArg, dr, di)) {
        const bool divisorComplex = vxIsComplexFlags(aArg);
        aNorm = OwnedArray(divideByScalar(aArg, workClass, dr, di, divisorComplex));
        bNorm = OwnedArray(divideByScalar(bArg, workClass, dr, di, divisorComplex));
        a = aNorm.get(), b = bNorm.get();
    }

    const T* xData = static_cast<const T*>(l.xWork->data);
    const T* bData = static_cast<const T*>(b->data);
    const T* aData = static_cast<const T*>(a->data);
    const bool hasZi = zi && !vxIsEmpty(zi);
    const T* ziData = hasZi ? static_cast<const T*>(zi->data) : nullptr;
    const bool xC = vxIsComplexFlags(l.xWork.get()), bC = vxIsComplexFlags(b), aC = vxIsComplexFlags(a);
    const bool ziC = hasZi && vxIsComplexFlags(zi), yC = isComplex;
    T* yData = static_cast<T*>(y->data);
    const i64 L = i64(l.L), nCols = i64(l.nCols);
    const bool colsParallel = columnsParallel(l.nCols, l.L);

    const bool skipY = vxIsEmpty(b) || vxIsEmpty(y.get()) || (!Fir && vxIsEmpty(a));
    const auto xCols = perColumn(xData, xC, L);
    const auto ziCols = perColumn(ziData, ziC, i64(ziStride));
    if (!skipY) {
        const auto yCols = perColumn(yData, yC, L);
        if (Fir && nCols == 1) {
            const i64 threads = i64(services::threading::getNumComputationalThreads());
            vlcommon::runRange(l.L >= kChunkedColumnMin, i64(0), L, L / std::max<i64>(threads, 1),
                               overChunks(vlFilterFIR{}, nb, bData, L, xData, order, ziData, yData,  // mapCol1FIR
                                          ChunkStart{}, ChunkEnd{}, bC, xC, ziC, yC));
        } else if (Fir) {
            vlcommon::runRange(colsParallel, i64(0), nCols, i64(1),
                               overColumns(vlFilterFIR{}, nb, bData, L, xCols, order, ziCols, yCols, i64(0),  // mapColsFIR
                                           L, bC, xC, ziC, yC));
        } else {
            vlcommon::runRange(colsParallel, i64(0), nCols, i64(1),
                               overColumns(vlFilterIIR{}, na, aData, nb, bData, L, xCols, order, ziCols,  // mapColsIIR
                                           yCols, aC, bC, xC, ziC, yC));
        }
    }

    OwnedArray zf;
    if (nlhs >= 2) {
        const size_t nd = x->numDims;
        const size_t* dims = x->get_dimensions();
        std::vector<size_t> zfDims{size_t(order)};
        for (size_t i = 0; i < nd; ++i)
            if (l.dim1 > nd || i != l.dim1 - 1) zfDims.push_back(dims[i]);
        zf = OwnedArray(vxCreateNumericArray(zfDims.size(), zfDims.data(), workClass, isComplex ? vxCOMPLEX : vxREAL));
        const bool skipZf = (vxIsEmpty(x) && nrhs < 4) || vxIsEmpty(zf.get());
        if (!skipZf) {
            T* zfData = static_cast<T*>(zf->data);
            const auto zfCols = perColumn(zfData, yC, order);
            if (Fir && nCols == 1) {
                vlcommon::runRange(size_t(order) >= kChunkedColumnMin, i64(0), order, i64(1),
                                   overChunks(vlFilterFIR_FC{}, nb, bData, L, xData, order, ziData, zfData,
                                              ChunkStart{}, ChunkEnd{}, bC, xC, ziC, yC));
            } else if (Fir) {
                vlcommon::runRange(colsParallel, i64(0), nCols, i64(1),
                                   overColumns(vlFilterFIR_FC{}, nb, bData, L, xCols, order, ziCols, zfCols,
                                               i64(0), order, bC, xC, ziC, yC));
            } else {
                const auto yCols = perColumn(static_cast<const T*>(yData), yC, L);
                vlcommon::runRange(colsParallel, i64(0), nCols, i64(1),
                                   overColumns(vlFilterIIR_FC{}, na, aData, nb, bData, L, xCols, yCols,  // mapColsIIR_FC
                                               order, ziCols, zfCols, aC, bC, xC, yC, ziC, yC));
            }
        }
    }

    bNorm = OwnedArray(), aNorm = OwnedArray();
    if (l.permuted) {
        vxSetDimensions(y.get(), l.xWork->get_dimensions(), l.xWork->numDims);
        y = OwnedArray(permuteDimension(y.get(), l.dim1, x->numDims, true));
    } else {
        vxSetDimensions(y.get(), x->get_dimensions(), x->numDims);
    }
    plhs[0] = y.release();
    if (nlhs >= 2) plhs[1] = zf.release();
    for (int i = 0; i < std::max(nlhs, 1); ++i) vxFreeImagIfZero(plhs[i]);
}

}  // namespace

void filterEntry(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs) {
    checkArgumentCounts(nlhs, 2, nrhs, 3, 5);
    for (int i = 0; i < nrhs; ++i) {
        if (prhs[i]->flags & VX_FLAG_SPARSE) raise<VELTRA::filter::sparseInput>();
        if (!(prhs[i]->flags & VX_FLAG_NUMERIC) && classOf(prhs[i]) != VX_LOGICAL_CLASS)
            raise<VELTRA::filter::inputType>();
    }
    if (!vxIsVector2D(prhs[0]) || !vxIsVector2D(prhs[1])) raise<VELTRA::filter::notVectorInput>();
    const int converted = std::min(nrhs, 4);
    vxClassID workClass = VX_DOUBLE_CLASS;
    for (int i = 0; i < converted; ++i)
        if (classOf(prhs[i]) == VX_SINGLE_CLASS) workClass = VX_SINGLE_CLASS;
    OwnedArray args[4];
    for (int i = 0; i < converted; ++i) args[i] = OwnedArray::converted(vxMustBe(prhs[i], workClass), prhs[i]);
    const bool fir = vxIsScalar(args[1].get());
    vlcommon::withRealType(workClass == VX_SINGLE_CLASS, [&](auto type) {
        using T = typename decltype(type)::type;
        if (fir) filterBody<T, true>(nlhs, plhs, nrhs, prhs, args, workClass);
        else filterBody<T, false>(nlhs, plhs, nrhs, prhs, args, workClass);
    });
}

}  // namespace vlmathdsp
