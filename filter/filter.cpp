// filter: checks, the working class, the filtered dimension first, initial conditions,
// normalisation by a[0], the y and zf passes, and the way back to the caller's layout.
#include <algorithm>
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
    OwnedArray xWork;   // the filtered dimension first (x itself when that is its layout)
    const vxArray* x;
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
    l.x = x;
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
        // Only singletons come before the filtered dimension (or x is empty): x's own data is
        // already in order, L down each column and the other dimensions as columns.
        const size_t dim0 = l.dim1 - 1;
        l.xWork = OwnedArray(const_cast<vxArray*>(x), false);
        l.L = dim0 < nd ? dims[dim0] : 1;
        l.nCols = 1;
        for (size_t i = 0; i < nd; ++i)
            if (i != dim0) l.nCols *= dims[i];
        return l;
    }
    l.L = l.xWork->get_dimensions()[0];
    l.nCols = vxGetN(l.xWork.get());
    return l;
}

// The dimensions of x with the filtered one first, as an array of them would have.
std::vector<size_t> workingDims(const Layout& l) {
    const size_t nd = l.x->numDims, *dims = l.x->get_dimensions();
    if (l.permuted) return std::vector<size_t>(l.xWork->get_dimensions(), l.xWork->get_dimensions() + l.xWork->numDims);
    const size_t dim0 = l.dim1 - 1;
    std::vector<size_t> sizes(nd + 1, 1);
    if (dim0 < nd) sizes[0] = dims[dim0];
    for (size_t i = 1; i <= dim0 && i <= nd; ++i) sizes[i] = dims[i - 1];
    for (size_t i = dim0 + 1; i < nd; ++i) sizes[i] = dims[i];
    while (sizes.size() > 2 && sizes.back() == 1) sizes.pop_back();
    return sizes;
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
    const std::vector<size_t> w = workingDims(l);
    if (d[0] != order || zi->numDims != w.size()) raise<VELTRA::filter::invalidInitialConditions>();
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

// b and a as the kernels read them: divided by a[0] into new arrays when it is not 1 (the FIR
// path divides b by a scalar a).
struct Coefficients {
    OwnedArray bNorm, aNorm;
    const vxArray *b, *a;
};

template <class T, bool Fir>
Coefficients normalised(const vxArray* bArg, const vxArray* aArg, i64 na, vxClassID workClass) {
    Coefficients c{OwnedArray(), OwnedArray(), bArg, aArg};
    T dr, di;
    if ((Fir || na > 0) && checkDenominatorHead(aArg, dr, di)) {
        const bool divisorComplex = vxIsComplexFlags(aArg);
        c.aNorm = OwnedArray(divideByScalar(aArg, workClass, dr, di, divisorComplex));
        c.bNorm = OwnedArray(divideByScalar(bArg, workClass, dr, di, divisorComplex));
        c.a = c.aNorm.get(), c.b = c.bNorm.get();
    }
    return c;
}

// What the kernels read: data, lengths and complexity flags of every operand.
template <class T>
struct Operands {
    const T *x, *b, *a, *zi;
    i64 nb, na, order, L, nCols;
    size_t ziStride;
    bool xC, bC, aC, ziC, yC, colsParallel;
};

// y: a single FIR column in chunks (mapCol1FIR), else FIR or IIR columns whole.
template <class T, bool Fir>
void filterOutputs(const Operands<T>& o, T* y) {
    const auto xCols = perColumn(o.x, o.xC, o.L);
    const auto ziCols = perColumn(o.zi, o.ziC, i64(o.ziStride));
    const auto yCols = perColumn(y, o.yC, o.L);
    if (Fir && o.nCols == 1) {
        const i64 threads = i64(services::threading::getNumComputationalThreads());
        vlcommon::runRange(size_t(o.L) >= kChunkedColumnMin, i64(0), o.L, o.L / std::max<i64>(threads, 1),
                           overChunks(vlFilterFIR{}, o.nb, o.b, o.L, o.x, o.order, o.zi, y,  // mapCol1FIR
                                      ChunkStart{}, ChunkEnd{}, o.bC, o.xC, o.ziC, o.yC));
    } else if (Fir) {
        vlcommon::runRange(o.colsParallel, i64(0), o.nCols, i64(1),
                           overColumns(vlFilterFIR{}, o.nb, o.b, o.L, xCols, o.order, ziCols, yCols, i64(0),  // mapColsFIR
                                       o.L, o.bC, o.xC, o.ziC, o.yC));
    } else {
        // Tasks of kIirLanes columns where there are enough for every thread, so that they run in step.
        const i64 threads = std::max<i64>(i64(services::threading::getNumComputationalThreads()), 1);
        vlcommon::runRange(o.colsParallel, i64(0), o.nCols, std::clamp<i64>(o.nCols / threads, 1, kIirLanes),
                           overColumns(vlFilterIIR{}, o.na, o.a, o.nb, o.b, o.L, xCols, o.order, ziCols,  // mapColsIIR
                                       yCols, o.aC, o.bC, o.xC, o.ziC, o.yC));
    }
}

// zf: order by the columns of x, the filtered dimension dropped; FIR from x alone, IIR from the
// tail of y.
template <class T, bool Fir>
void finalConditions(const Operands<T>& o, const T* y, T* zf) {
    const auto xCols = perColumn(o.x, o.xC, o.L);
    const auto ziCols = perColumn(o.zi, o.ziC, i64(o.ziStride));
    const auto zfCols = perColumn(zf, o.yC, o.order);
    if (Fir && o.nCols == 1) {
        vlcommon::runRange(size_t(o.order) >= kChunkedColumnMin, i64(0), o.order, i64(1),
                           overChunks(vlFilterFIR_FC{}, o.nb, o.b, o.L, o.x, o.order, o.zi, zf,  // mapCol1FIR
                                      ChunkStart{}, ChunkEnd{}, o.bC, o.xC, o.ziC, o.yC));
    } else if (Fir) {
        vlcommon::runRange(o.colsParallel, i64(0), o.nCols, i64(1),
                           overColumns(vlFilterFIR_FC{}, o.nb, o.b, o.L, xCols, o.order, ziCols, zfCols,  // mapColsFIR
                                       i64(0), o.order, o.bC, o.xC, o.ziC, o.yC));
    } else {
        const auto yCols = perColumn(y, o.yC, o.L);
        vlcommon::runRange(o.colsParallel, i64(0), o.nCols, i64(1),
                           overColumns(vlFilterIIR_FC{}, o.na, o.a, o.nb, o.b, o.L, xCols, yCols,  // mapColsIIR_FC
                                       o.order, ziCols, zfCols, o.aC, o.bC, o.xC, o.yC, o.ziC, o.yC));
    }
}

// The zf array: order, then the dimensions of x but the filtered one.
OwnedArray finalConditionArray(const vxArray* x, const Layout& l, i64 order, vxClassID workClass, bool isComplex) {
    const size_t nd = x->numDims;
    const size_t* dims = x->get_dimensions();
    std::vector<size_t> zfDims{size_t(order)};
    for (size_t i = 0; i < nd; ++i)
        if (l.dim1 > nd || i != l.dim1 - 1) zfDims.push_back(dims[i]);
    return OwnedArray(vxCreateNumericArray(zfDims.size(), zfDims.data(), workClass, isComplex ? vxCOMPLEX : vxREAL));
}

// y back to the caller's layout: the filtered dimension to its place.
OwnedArray inCallersLayout(OwnedArray y, const vxArray* x, const Layout& l) {
    if (l.permuted) {
        vxSetDimensions(y.get(), l.xWork->get_dimensions(), l.xWork->numDims);
        return OwnedArray(permuteDimension(y.get(), l.dim1, x->numDims, true));
    }
    return y;
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
    // Unpermuted, y is made in x's shape at once.
    const vxComplexity complexity = isComplex ? vxCOMPLEX : vxREAL;
    OwnedArray y(l.permuted ? vxCreateNumericMatrix(l.L, l.nCols, workClass, complexity)
                            : vxCreateNumericArray(x->numDims, x->get_dimensions(), workClass, complexity));
    const i64 nb = i64(bArg->get_number_of_elements()), na = i64(aArg->get_number_of_elements());
    i64 order;
    if (Fir) order = std::max<i64>(nb, 1) - 1;
    else order = std::max(na, nb) == 0 ? 0 : std::max(na, nb) - 1;
    ComputationalThreadScope scope(columnsParallel(l.nCols, l.L) ||
                                   (l.nCols == 1 && std::max(l.L, size_t(order)) >= kChunkedColumnMin));
    const size_t ziStride = zi ? initialConditionStride(zi, size_t(order), l) : 0;

    Coefficients c = normalised<T, Fir>(bArg, aArg, na, workClass);
    const bool hasZi = zi && !vxIsEmpty(zi);
    const Operands<T> o{static_cast<const T*>(l.xWork->data), static_cast<const T*>(c.b->data),
                        static_cast<const T*>(c.a->data), hasZi ? static_cast<const T*>(zi->data) : nullptr,
                        nb, na, order, i64(l.L), i64(l.nCols), ziStride,
                        vxIsComplexFlags(l.xWork.get()), vxIsComplexFlags(c.b), vxIsComplexFlags(c.a),
                        hasZi && vxIsComplexFlags(zi), isComplex, columnsParallel(l.nCols, l.L)};
    T* yData = static_cast<T*>(y->data);
    if (!(vxIsEmpty(c.b) || vxIsEmpty(y.get()) || (!Fir && vxIsEmpty(c.a)))) filterOutputs<T, Fir>(o, yData);

    OwnedArray zf;
    if (nlhs >= 2) {
        zf = finalConditionArray(x, l, order, workClass, isComplex);
        if (!((vxIsEmpty(x) && nrhs < 4) || vxIsEmpty(zf.get())))
            finalConditions<T, Fir>(o, yData, static_cast<T*>(zf->data));
    }
    c = Coefficients{};
    y = inCallersLayout(std::move(y), x, l);
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
