// The host's permutation built-in: any class, complex included; blocked and parallel.
#include <algorithm>
#include <cstring>
#include <numeric>

#include "host/array.hpp"
#include "host/call_frame.hpp"
#include "host/embed.hpp"
#include "host/errors.hpp"
#include "host/kernels/transpose.hpp"
#include "host/threads.hpp"

namespace vlhost::detail {

namespace {

// Below this many elements a permutation runs on the calling thread.
constexpr size_t kParallelMinimum = size_t(1) << 16;
// Edge of the square tiles of a transposing permutation, in elements.
constexpr size_t kTile = 32;
// Pieces of a long contiguous run, copied as separate tasks.
constexpr size_t kCopyPieceBytes = size_t(1) << 18;

template <size_t Bytes>
struct Element {
    unsigned char bytes[Bytes];
};

// One loop dimension of the output: its size, and its strides in input and output.
struct Axis {
    size_t size, in, out;
};

// Column-major output dimensions of the given sizes and input strides as loop axes: singletons
// removed, runs contiguous in the input merged.
std::vector<Axis> mergedAxes(const std::vector<size_t>& size, const std::vector<size_t>& inStride) {
    std::vector<Axis> axes;
    size_t outStride = 1;
    for (size_t j = 0; j < size.size(); ++j) {
        if (size[j] != 1) {
            if (!axes.empty() && axes.back().in * axes.back().size == inStride[j])
                axes.back().size *= size[j];
            else
                axes.push_back({size[j], inStride[j], outStride});
        }
        outStride *= size[j];
    }
    return axes;
}

// Output dimensions with their input strides, for the input permuted by `order`.
std::vector<Axis> permutedAxes(const std::vector<size_t>& inDims, const std::vector<size_t>& order) {
    std::vector<size_t> stride(order.size(), 1), size(order.size()), inStride(order.size());
    for (size_t j = 1; j < order.size(); ++j) stride[j] = stride[j - 1] * (j - 1 < inDims.size() ? inDims[j - 1] : 1);
    for (size_t j = 0; j < order.size(); ++j)
        size[j] = order[j] < inDims.size() ? inDims[order[j]] : 1, inStride[j] = stride[order[j]];
    return mergedAxes(size, inStride);
}

// Output offsets and input offsets of the outer index `o` over axes[first..].
void outerOffsets(const std::vector<Axis>& axes, size_t first, size_t skip, size_t o, size_t& in, size_t& out) {
    in = out = 0;
    for (size_t j = first; j < axes.size(); ++j) {
        if (j == skip) continue;
        const size_t i = o % axes[j].size;
        o /= axes[j].size;
        in += i * axes[j].in;
        out += i * axes[j].out;
    }
}

template <class E>
void permuteData(const E* src, E* dst, const std::vector<Axis>& axes, size_t count) {
    if (axes.empty()) {
        if (count) dst[0] = src[0];
        return;
    }
    const Axis a0 = axes[0];
    if (a0.in == 1) {  // runs stay contiguous: copy them whole, a long run in pieces
        const size_t outer = count / a0.size;
        const size_t pieceLength = std::min(a0.size, std::max<size_t>(kCopyPieceBytes / sizeof(E), 1));
        const size_t pieces = (a0.size + pieceLength - 1) / pieceLength;
        auto body = [&](const tbb::blocked_range<size_t>& r) {
            for (size_t t = r.begin(); t != r.end(); ++t) {
                size_t in, out;
                outerOffsets(axes, 1, SIZE_MAX, t / pieces, in, out);
                const size_t begin = (t % pieces) * pieceLength, length = std::min(pieceLength, a0.size - begin);
                std::memcpy(dst + out + begin, src + in + begin, length * sizeof(E));
            }
        };
        if (count < kParallelMinimum) body({0, outer * pieces});
        else runWhole(outer * pieces, body);
        return;
    }
    // The input's contiguous axis lands at p: transpose tiles of (axis 0, axis p).
    size_t p = 1;
    while (p < axes.size() && axes[p].in != 1) ++p;
    if (p == axes.size()) {  // no contiguous input axis: plain gather
        auto body = [&](const tbb::blocked_range<size_t>& r) {
            for (size_t o = r.begin(); o != r.end(); ++o) {
                size_t in, out;
                outerOffsets(axes, 0, SIZE_MAX, o, in, out);
                dst[out] = src[in];
            }
        };
        if (count < kParallelMinimum) body({0, count});
        else runWhole(count, body);
        return;
    }
    const Axis ap = axes[p];
    const size_t tilesP = (ap.size + kTile - 1) / kTile;
    const size_t outer = count / (a0.size * ap.size);
    auto body = [&](const tbb::blocked_range<size_t>& r) {
        for (size_t t = r.begin(); t != r.end(); ++t) {
            const size_t o = t / tilesP, jb = (t % tilesP) * kTile;
            size_t in, out;
            outerOffsets(axes, 1, p, o, in, out);
            const size_t je = std::min(jb + kTile, ap.size);
            for (size_t ib = 0; ib < a0.size; ib += kTile)
                kernels::transposeTile(src + in, a0.in, dst + out, ap.out, sizeof(E), ib, std::min(ib + kTile, a0.size), jb,
                                       je);
        }
    };
    if (count < kParallelMinimum) body({0, outer * tilesP});
    else runWhole(outer * tilesP, body);
}

void permuteBytes(const void* src, void* dst, size_t elemBytes, const std::vector<Axis>& axes, size_t count) {
    switch (elemBytes) {
        case 1: return permuteData(static_cast<const Element<1>*>(src), static_cast<Element<1>*>(dst), axes, count);
        case 2: return permuteData(static_cast<const Element<2>*>(src), static_cast<Element<2>*>(dst), axes, count);
        case 4: return permuteData(static_cast<const Element<4>*>(src), static_cast<Element<4>*>(dst), axes, count);
        case 8: return permuteData(static_cast<const Element<8>*>(src), static_cast<Element<8>*>(dst), axes, count);
        case 16: return permuteData(static_cast<const Element<16>*>(src), static_cast<Element<16>*>(dst), axes, count);
        default: break;
    }
    // Elements of other sizes move by a permuted index.
    std::vector<size_t> index(count), source(count);
    std::iota(index.begin(), index.end(), size_t(0));
    permuteData(index.data(), source.data(), axes, count);
    for (size_t i = 0; i < count; ++i)
        std::memcpy(static_cast<char*>(dst) + i * elemBytes, static_cast<const char*>(src) + source[i] * elemBytes,
                    elemBytes);
}

}  // namespace

void copyToColumnMajor(const void* src, void* dst, size_t elementBytes, const std::vector<size_t>& dims,
                       const std::vector<size_t>& strides) {
    size_t count = 1;
    for (size_t d : dims) count *= d;
    if (count == 0) return;
    const std::vector<Axis> axes = mergedAxes(dims, strides);
    callArena().execute([&] { permuteBytes(src, dst, elementBytes, axes, count); });
}

namespace {

// The order argument as zero-based dimensions, checked to be a permutation of 0..k-1, k >= ndims.
std::vector<size_t> readOrder(const vxArray* orderArray, size_t ndims) {
    using namespace matrix::detail::noninlined::vx_array_api;
    const HostArray* o = host(orderArray);
    if (o->kind != Kind::Numeric || isComplex(o) || (!classFlags(o->classOf, false) && o->classOf != VX_LOGICAL_CLASS))
        raiseHostError("permuteOrder", std::string("the order must be a real numeric vector"));
    vxArray* d = vxMustBe(orderArray, VX_DOUBLE_CLASS);
    const double* v = static_cast<const double*>(d->data);
    const size_t k = numel(o->dims);
    std::vector<size_t> order(k);
    std::vector<bool> seen(k, false);
    std::string problem;
    for (size_t i = 0; i < k && problem.empty(); ++i) {
        if (!(v[i] >= 1.0) || v[i] != static_cast<double>(static_cast<size_t>(v[i])) || v[i] > double(k) || seen[size_t(v[i]) - 1])
            problem = "element " + std::to_string(i + 1) + " is not a new index from 1 to " + std::to_string(k);
        else
            seen[size_t(v[i]) - 1] = true, order[i] = size_t(v[i]) - 1;
    }
    if (d != orderArray) vxDestroyArray(d);
    if (!problem.empty()) raiseHostError("permuteOrder", problem);
    if (k < ndims) raiseHostError("permuteOrder", std::string("the order has fewer elements than the array has dimensions"));
    return order;
}

HostArray* permuteSparse(const HostArray* s, const std::vector<size_t>& order) {
    using namespace matrix::detail::noninlined::vx_array_api;
    if (order[0] == 0) return host(vxCreateDeepCopy(s));
    // Transpose of compressed columns: count per row, then place.
    const size_t m = s->dims[0], n = s->dims[1], nnz = s->jc[n];
    const bool cplx = isComplex(s);
    const size_t elem = classElementBytes(s->classOf) * (cplx ? 2 : 1);
    std::vector<size_t> jc(m + 1, 0), ir(nnz);
    std::vector<char> values(nnz * elem);
    for (size_t k = 0; k < nnz; ++k) ++jc[s->ir[k] + 1];
    for (size_t i = 0; i < m; ++i) jc[i + 1] += jc[i];
    std::vector<size_t> next(jc.begin(), jc.end() - 1);
    for (size_t j = 0; j < n; ++j)
        for (size_t k = s->jc[j]; k < s->jc[j + 1]; ++k) {
            const size_t at = next[s->ir[k]]++;
            ir[at] = j;
            std::memcpy(values.data() + at * elem, static_cast<const char*>(s->data) + k * elem, elem);
        }
    vxArray* t = vlhost::createSparse(n, m, s->classOf, cplx, ir, jc, values.data());
    if (CallFrame* frame = currentFrame()) frame->link(host(t));
    return host(t);
}

}  // namespace

}  // namespace vlhost::detail

namespace matrix::detail::noninlined::vx_array_api {

using namespace vlhost::detail;

void vxPermuteFcn(int nlhs, vxArray** plhs, int nrhs, vxArray** prhs) {
    if (nlhs > 1) matrix::detail::error_maxlhs();
    if (nrhs > 2) matrix::detail::error_maxrhs();
    if (nrhs < 2) matrix::detail::error_minrhs();
    const HostArray* a = host(prhs[0]);
    const std::vector<size_t> order = readOrder(prhs[1], a->dims.size());
    if (a->kind == Kind::Sparse) {
        if (order.size() > 2) raiseHostError("permuteOrder", std::string("a sparse array has two dimensions"));
        plhs[0] = permuteSparse(a, order);
        return;
    }
    std::vector<size_t> outDims(order.size());
    for (size_t j = 0; j < order.size(); ++j) outDims[j] = order[j] < a->dims.size() ? a->dims[order[j]] : 1;
    const size_t count = numel(a->dims);
    const std::vector<Axis> axes = permutedAxes(a->dims, order);

    if (a->kind == Kind::Numeric) {
        HostArray* out = makeNumeric(outDims, a->classOf, isComplex(a), false);
        permuteBytes(a->data, out->data, vxGetElementSize(a), axes, count);
        plhs[0] = out;
        return;
    }
    // Strings, cells, structures: move element by element through a permuted index.
    std::vector<size_t> index(count), source(count);
    std::iota(index.begin(), index.end(), size_t(0));
    permuteData(index.data(), source.data(), axes, count);
    if (a->kind == Kind::String) {
        const auto& from = *static_cast<const StringStorage*>(a->block->extra.get());
        std::vector<std::optional<std::u16string>> values(count);
        for (size_t i = 0; i < count; ++i)
            if (!from.missing[source[i]]) values[i] = from.texts[source[i]];
        plhs[0] = vlhost::createStringArray(outDims, values);
    } else if (a->kind == Kind::Cell || a->kind == Kind::Struct) {
        const auto& kids = *static_cast<const Children*>(a->block->extra.get());
        const size_t fields = a->kind == Kind::Struct ? kids.fieldNames.size() : 1;
        std::vector<vxArray*> values(count * fields);
        for (size_t i = 0; i < count; ++i)
            for (size_t f = 0; f < fields; ++f) {
                vxArray* child = kids.arrays[source[i] * fields + f];
                values[i * fields + f] = child ? vxCreateSharedDataCopy(child) : nullptr;
            }
        plhs[0] = a->kind == Kind::Cell ? vlhost::createCell(outDims, values)
                                        : vlhost::createStruct(outDims, kids.fieldNames, values);
    } else {
        plhs[0] = vxCreateDeepCopy(a);
        return;
    }
    if (CallFrame* frame = currentFrame()) frame->link(host(plhs[0]));
}

}  // namespace matrix::detail::noninlined::vx_array_api
