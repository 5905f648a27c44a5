// Array records: creation, copies, destruction and reading.
#include "host/array.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "host/call_frame.hpp"
#include "host/embed.hpp"
#include "host/errors.hpp"

namespace vlhost {
namespace {
std::atomic<long> gLiveArrays{0};
std::atomic<size_t> gMaxDimensions{0};
}  // namespace
long liveArrays() { return gLiveArrays.load(); }
void setMaxDimensions(size_t count) { gMaxDimensions = count; }
size_t maxDimensions() { return gMaxDimensions.load(); }
}  // namespace vlhost

namespace vlhost::detail {

// Class field value of the classes that must be asked for.
constexpr int32_t kNonTrivialClassField = 255;

HostArray::HostArray() {
    classID = VX_DOUBLE_CLASS;
    numDims = 2;
    flags = 0;
    data = nullptr;
    ++gLiveArrays;
}

HostArray::~HostArray() { --gLiveArrays; }

void StringStorage::rebuild(const std::vector<size_t>& dims) {
    elements.resize(texts.size());
    record.elements.resize(texts.size());
    for (size_t i = 0; i < texts.size(); ++i) {
        elements[i] = {texts[i].data(), texts[i].size()};
        record.elements[i] = missing[i] ? nullptr : &elements[i];
    }
    record.dims = dims;
}

Children::~Children() {
    for (vxArray* a : arrays)
        if (a) matrix::detail::noninlined::vx_array_api::vxDestroyArray(a);
}

bool isComplex(const vxArray* a) { return (a->flags & VX_FLAG_COMPLEX) == VX_FLAG_COMPLEX; }

size_t numel(const std::vector<size_t>& dims) {
    size_t n = 1;
    for (size_t d : dims) n *= d;
    return n;
}

size_t classElementBytes(vxClassID id) {
    switch (id) {
        case VX_LOGICAL_CLASS:
        case VX_INT8_CLASS:
        case VX_UINT8_CLASS: return 1;
        case VX_CHAR_CLASS:
        case VX_INT16_CLASS:
        case VX_UINT16_CLASS: return 2;
        case VX_SINGLE_CLASS:
        case VX_INT32_CLASS:
        case VX_UINT32_CLASS: return 4;
        case VX_DOUBLE_CLASS:
        case VX_INT64_CLASS:
        case VX_UINT64_CLASS: return 8;
        case VX_CELL_CLASS:
        case VX_STRUCT_CLASS:
        case VX_OBJECT_CLASS: return sizeof(void*);
        default: return 0;
    }
}

uint32_t classFlags(vxClassID id, bool complex) {
    const bool numeric = id == VX_DOUBLE_CLASS || id == VX_SINGLE_CLASS || (id >= VX_INT8_CLASS && id <= VX_UINT64_CLASS);
    if (!numeric) return 0;
    return complex ? VX_FLAG_COMPLEX : VX_FLAG_NUMERIC;
}

void normalizeDims(std::vector<size_t>& dims) {
    while (dims.size() < 2) dims.push_back(dims.empty() ? 0 : 1);
    while (dims.size() > 2 && dims.back() == 1) dims.pop_back();
}

namespace {
std::string shapeText(const std::vector<size_t>& dims) {
    std::string text;
    for (size_t d : dims) text += (text.empty() ? "" : "x") + std::to_string(d);
    return text;
}
}  // namespace

size_t checkedShape(const std::vector<size_t>& dims, size_t elementBytes) {
    const size_t maxDims = vlhost::maxDimensions();
    if (maxDims && dims.size() > maxDims)
        raiseHostError("dimensionLimit", std::to_string(dims.size()) + " dimensions; at most " + std::to_string(maxDims));
    // As NumPy does, the sides other than zero must fit too: an empty array may not be one that
    // could never hold a row.
    size_t extent = std::max<size_t>(elementBytes, 1), count = 1;
    for (size_t d : dims)
        if (d && __builtin_mul_overflow(extent, d, &extent)) raiseHostError("sizeLimit", shapeText(dims));
    if (extent > size_t(PTRDIFF_MAX)) raiseHostError("sizeLimit", shapeText(dims));
    for (size_t d : dims) count *= d;
    return count;
}

DataBlock* newBlock(size_t bytes, bool zero) {
    auto* block = new DataBlock;
    try {
        block->ptr = allocateBytes(bytes, zero, false);
    } catch (...) {
        delete block;
        throw;
    }
    markArrayData(block->ptr, true);
    block->bytes = bytes;
    return block;
}

void retain(DataBlock* block) {
    if (block) block->refs.fetch_add(1, std::memory_order_relaxed);
}

void releaseBlock(DataBlock* block) {
    if (!block || block->refs.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    if (!block->external) freeBytes(block->ptr);
    else if (block->release) block->release(block->context);
    delete block;
}

HostArray* makeHandle(std::vector<size_t> dims, vxClassID id, Kind kind, uint32_t flags, DataBlock* block) {
    normalizeDims(dims);
    try {
        checkedShape(dims, 0);
    } catch (...) {
        releaseBlock(block);
        throw;
    }
    auto* a = new HostArray;
    a->dims = std::move(dims);
    a->numDims = a->dims.size();
    a->classOf = id;
    a->classID = id > VX_FUNCTION_CLASS ? kNonTrivialClassField : id;
    a->kind = kind;
    a->flags = flags;
    a->block = block;
    a->data = block ? block->ptr : nullptr;
    if (CallFrame* frame = currentFrame()) frame->link(a);
    return a;
}

HostArray* makeNumeric(std::vector<size_t> d, vxClassID id, bool complex, bool zero) {
    if (id != VX_LOGICAL_CLASS && id != VX_CHAR_CLASS && classFlags(id, false) == 0)
        raiseHostError("invalidClass", std::string("a numeric array cannot be of class ") + std::to_string(id));
    if ((id == VX_LOGICAL_CLASS || id == VX_CHAR_CLASS) && complex)
        raiseHostError("invalidClass", std::string("logical and char arrays are real"));
    normalizeDims(d);
    const size_t elem = classElementBytes(id) * (complex ? 2 : 1);
    const size_t count = checkedShape(d, elem);
    DataBlock* block = newBlock(count * elem, zero);
    return makeHandle(std::move(d), id, Kind::Numeric, classFlags(id, complex), block);
}

namespace {

DataBlock* copyBlock(const HostArray* a) {
    DataBlock* block = newBlock(a->block->bytes, false);
    copyBytes(block->ptr, a->block->ptr, a->block->bytes);
    return block;
}

void copyExtra(Kind kind, const std::vector<size_t>& dims, const DataBlock* from, DataBlock* to) {
    if (kind == Kind::String) {
        auto storage = std::make_unique<StringStorage>(*static_cast<const StringStorage*>(from->extra.get()));
        storage->rebuild(dims);
        to->extra = std::move(storage);
    } else if (kind == Kind::Cell || kind == Kind::Struct || kind == Kind::Function) {
        const auto* kids = static_cast<const Children*>(from->extra.get());
        auto copy = std::make_unique<Children>();
        copy->fieldNames = kids->fieldNames;
        copy->functionName = kids->functionName;
        for (vxArray* child : kids->arrays) {
            vxArray* c = child ? matrix::detail::noninlined::vx_array_api::vxCreateDeepCopy(child) : nullptr;
            if (c) CallFrame::unlink(host(c));
            copy->arrays.push_back(c);
        }
        if (!copy->arrays.empty())  // a function handle holds no arrays: no block to copy into
            std::memcpy(to->ptr, copy->arrays.data(), copy->arrays.size() * sizeof(vxArray*));
        to->extra = std::move(copy);
    }
}

size_t* shifted(size_t* p, ptrdiff_t shift) {
    return reinterpret_cast<size_t*>(reinterpret_cast<char*>(p) + shift);
}

}  // namespace

void makeUnique(HostArray* a) {
    if (!a->block || a->block->refs.load() == 1) return;
    DataBlock* old = a->block;
    DataBlock* fresh = copyBlock(a);
    copyExtra(a->kind, a->dims, old, fresh);
    const ptrdiff_t shift = static_cast<char*>(fresh->ptr) - static_cast<char*>(old->ptr);
    if (a->kind == Kind::Sparse) {
        a->ir = shifted(a->ir, shift);
        a->jc = shifted(a->jc, shift);
    }
    a->block = fresh;
    a->data = fresh->ptr;
    releaseBlock(old);
}

}  // namespace vlhost::detail

using namespace vlhost::detail;

const size_t* vxArray_tag::get_dimensions() const { return host(this)->dims.data(); }

size_t vxArray_tag::get_number_of_elements() const { return numel(host(this)->dims); }

vxClassID vxArray_tag::_get_class_id_non_trivial() const { return host(this)->classOf; }

namespace matrix::detail::noninlined::vx_array_api {

size_t vxGetN(const vxArray* a) {
    const auto& d = host(a)->dims;
    size_t n = 1;
    for (size_t i = 1; i < d.size(); ++i) n *= d[i];
    return n;
}

size_t vxGetElementSize(const vxArray* a) {
    return classElementBytes(host(a)->classOf) * (isComplex(a) ? 2 : 1);
}

namespace {
template <class T>
double firstAsDouble(const void* p) {
    return static_cast<double>(*static_cast<const T*>(p));
}

double elementAsDouble(vxClassID id, const void* p) {
    switch (id) {
        case VX_DOUBLE_CLASS: return firstAsDouble<double>(p);
        case VX_SINGLE_CLASS: return firstAsDouble<float>(p);
        case VX_LOGICAL_CLASS:
        case VX_UINT8_CLASS: return firstAsDouble<uint8_t>(p);
        case VX_INT8_CLASS: return firstAsDouble<int8_t>(p);
        case VX_CHAR_CLASS:
        case VX_UINT16_CLASS: return firstAsDouble<uint16_t>(p);
        case VX_INT16_CLASS: return firstAsDouble<int16_t>(p);
        case VX_INT32_CLASS: return firstAsDouble<int32_t>(p);
        case VX_UINT32_CLASS: return firstAsDouble<uint32_t>(p);
        case VX_INT64_CLASS: return firstAsDouble<int64_t>(p);
        case VX_UINT64_CLASS: return firstAsDouble<uint64_t>(p);
        default: return 0.0;
    }
}
}  // namespace

double vxGetScalar(const vxArray* a) {
    const HostArray* h = host(a);
    if (h->kind == Kind::Sparse) {
        if (h->dims[0] == 0 || h->dims[1] == 0 || h->jc[1] == 0 || h->ir[0] != 0) return 0.0;
        return elementAsDouble(h->classOf, h->data);
    }
    if (h->kind != Kind::Numeric || numel(h->dims) == 0) return 0.0;
    return elementAsDouble(h->classOf, h->data);
}

bool vxIsEmpty(const vxArray* a) { return numel(host(a)->dims) == 0; }

bool vxIsScalar(const vxArray* a) { return numel(host(a)->dims) == 1; }

bool vxIsVector(const vxArray* a) {
    const auto& d = host(a)->dims;
    return d.size() == 2 && (d[0] == 1 || d[1] == 1);
}

bool vxIsVector2D(const vxArray* a) { return vxIsVector(a); }

bool vxIsFiniteNumericArray(const vxArray* a) {
    const HostArray* h = host(a);
    if (h->kind != Kind::Numeric && h->kind != Kind::Sparse) return false;
    size_t count = h->kind == Kind::Sparse ? h->jc[h->dims[1]] : numel(h->dims);
    if (isComplex(a)) count *= 2;
    if (h->classOf == VX_DOUBLE_CLASS) {
        const double* p = static_cast<const double*>(h->data);
        for (size_t i = 0; i < count; ++i)
            if (!std::isfinite(p[i])) return false;
    } else if (h->classOf == VX_SINGLE_CLASS) {
        const float* p = static_cast<const float*>(h->data);
        for (size_t i = 0; i < count; ++i)
            if (!std::isfinite(p[i])) return false;
    }
    return true;
}

vxArray* vxCreateNumericMatrix(size_t m, size_t n, vxClassID id, vxComplexity c) {
    return makeNumeric({m, n}, id, c == vxCOMPLEX, true);
}

namespace {
std::vector<size_t> dimsFrom(size_t ndim, const size_t* dims) {
    if (ndim == 0) return {0, 0};
    std::vector<size_t> d(dims, dims + ndim);
    return d;
}
}  // namespace

vxArray* vxCreateNumericArray(size_t ndim, const size_t* dims, vxClassID id, vxComplexity c) {
    return makeNumeric(dimsFrom(ndim, dims), id, c == vxCOMPLEX, true);
}

vxArray* vxCreateUninitNumericMatrix(size_t m, size_t n, vxClassID id, int complexity) {
    return makeNumeric({m, n}, id, complexity != 0, false);
}

vxArray* vxCreateUninitNumericArray(size_t ndim, size_t* dims, vxClassID id, vxComplexity c) {
    return makeNumeric(dimsFrom(ndim, dims), id, c == vxCOMPLEX, false);
}

vxArray* vxCreateUninitNumericArray(size_t ndim, size_t* dims, vxClassID id, vxComplexity c, int, const vxArray**) {
    return makeNumeric(dimsFrom(ndim, dims), id, c == vxCOMPLEX, false);
}

vxArray* vxCreateDoubleMatrix(size_t m, size_t n, vxComplexity c) {
    return makeNumeric({m, n}, VX_DOUBLE_CLASS, c == vxCOMPLEX, true);
}

vxArray* vxCreateString(const char* text) {
    const size_t n = std::strlen(text);
    HostArray* a = makeNumeric(n ? std::vector<size_t>{1, n} : std::vector<size_t>{0, 0}, VX_CHAR_CLASS, false, false);
    char16_t* d = static_cast<char16_t*>(a->data);
    for (size_t i = 0; i < n; ++i) d[i] = static_cast<unsigned char>(text[i]);
    return a;
}

vxArray* vxCreateSharedDataCopy(const vxArray* a) {
    const HostArray* h = host(a);
    retain(h->block);
    HostArray* c = makeHandle(h->dims, h->classOf, h->kind, h->flags, h->block);
    c->ir = h->ir;
    c->jc = h->jc;
    c->nzmax = h->nzmax;
    return c;
}

vxArray* vxCreateDeepCopy(const vxArray* a) {
    const HostArray* h = host(a);
    DataBlock* block = h->block ? copyBlock(h) : nullptr;
    HostArray* c = makeHandle(h->dims, h->classOf, h->kind, h->flags, block);
    if (h->kind == Kind::Sparse) {
        const ptrdiff_t shift = static_cast<char*>(block->ptr) - static_cast<char*>(h->block->ptr);
        c->ir = shifted(h->ir, shift);
        c->jc = shifted(h->jc, shift);
        c->nzmax = h->nzmax;
    }
    if (block) copyExtra(h->kind, h->dims, h->block, block);
    return c;
}

void vxDestroyArray(vxArray* a) {
    if (!a) return;
    HostArray* h = host(a);
    CallFrame::unlink(h);
    releaseBlock(h->block);
    delete h;
}

}  // namespace matrix::detail::noninlined::vx_array_api
