// Python values in and out: NumPy arrays by dtype, str, string arrays, SciPy sparse, None.
#include "python/convert.hpp"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cstring>
#include <map>

namespace vlpy {

namespace {

// Never released: the interpreter may be gone when statics are destroyed.
py::module_& numpy() {
    static auto* np = new py::module_(py::module_::import("numpy"));
    return *np;
}

// Host class and complexity of a NumPy dtype; false for dtypes without one.
bool classOfDtype(const py::dtype& dt, vxClassID& id, bool& complex) {
    const char kind = dt.kind();
    const size_t size = dt.itemsize();
    complex = false;
    switch (kind) {
        case 'b': id = VX_LOGICAL_CLASS; return size == 1;
        case 'f':
            if (size == 8) return id = VX_DOUBLE_CLASS, true;
            if (size == 4) return id = VX_SINGLE_CLASS, true;
            return false;
        case 'c':
            complex = true;
            if (size == 16) return id = VX_DOUBLE_CLASS, true;
            if (size == 8) return id = VX_SINGLE_CLASS, true;
            return false;
        case 'i':
        case 'u': {
            static const vxClassID signedIds[] = {VX_INT8_CLASS, VX_INT16_CLASS, VX_INT32_CLASS, VX_INT64_CLASS};
            static const vxClassID unsignedIds[] = {VX_UINT8_CLASS, VX_UINT16_CLASS, VX_UINT32_CLASS, VX_UINT64_CLASS};
            const int k = size == 1 ? 0 : size == 2 ? 1 : size == 4 ? 2 : size == 8 ? 3 : -1;
            if (k < 0) return false;
            id = kind == 'i' ? signedIds[k] : unsignedIds[k];
            return true;
        }
        default: return false;
    }
}

py::dtype dtypeNamed(vxClassID id, bool complex) {
    const char* name = nullptr;
    switch (id) {
        case VX_DOUBLE_CLASS: name = complex ? "complex128" : "float64"; break;
        case VX_SINGLE_CLASS: name = complex ? "complex64" : "float32"; break;
        case VX_LOGICAL_CLASS: name = "bool"; break;
        case VX_CHAR_CLASS: name = "uint16"; break;
        case VX_INT8_CLASS: name = "int8"; break;
        case VX_UINT8_CLASS: name = "uint8"; break;
        case VX_INT16_CLASS: name = "int16"; break;
        case VX_UINT16_CLASS: name = "uint16"; break;
        case VX_INT32_CLASS: name = "int32"; break;
        case VX_UINT32_CLASS: name = "uint32"; break;
        case VX_INT64_CLASS: name = "int64"; break;
        case VX_UINT64_CLASS: name = "uint64"; break;
        default: throw std::runtime_error("no NumPy dtype for this class");
    }
    return py::dtype(name);
}

// Made once per class, and never released (see numpy()).
py::dtype dtypeOfClass(vxClassID id, bool complex) {
    static std::map<std::pair<int, bool>, PyObject*>* made = new std::map<std::pair<int, bool>, PyObject*>;
    PyObject*& d = (*made)[{int(id), complex}];
    if (!d) d = dtypeNamed(id, complex).release().ptr();
    return py::reinterpret_borrow<py::dtype>(d);
}

void releasePyObject(void* object) {
    if (PyGILState_Check()) {  // the usual case: an argument let go after its call
        Py_DECREF(static_cast<PyObject*>(object));
        return;
    }
    const PyGILState_STATE state = PyGILState_Ensure();
    Py_DECREF(static_cast<PyObject*>(object));
    PyGILState_Release(state);
}

// Host text is 16-bit code units, so a lone surrogate is kept as the unit it is.
std::u16string toUtf16(const py::str& s) {
    py::bytes b = py::reinterpret_steal<py::bytes>(PyUnicode_AsEncodedString(s.ptr(), "utf-16-le", "surrogatepass"));
    if (!b) throw py::error_already_set();
    std::string raw = b;
    std::u16string out(raw.size() / 2, u'\0');
    std::memcpy(out.data(), raw.data(), out.size() * 2);
    return out;
}

py::str fromUtf16(const char16_t* text, size_t n) {
    PyObject* s = PyUnicode_DecodeUTF16(reinterpret_cast<const char*>(text), Py_ssize_t(n * 2), "replace", nullptr);
    if (!s) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(s);
}

bool isSparse(const py::handle& value) {
    py::object type = py::reinterpret_borrow<py::object>(py::type::handle_of(value));
    std::string module = py::str(type.attr("__module__"));
    return module.rfind("scipy.sparse", 0) == 0 && py::hasattr(value, "tocsc");
}

// Works on a copy: the caller's matrix keeps its index order and duplicates, and may be read-only.
Argument sparseToHost(const py::handle& value) {
    py::object csc = value.attr("tocsc")(py::arg("copy") = true);
    csc.attr("sum_duplicates")();
    py::array data = csc.attr("data");
    vxClassID id;
    bool complex;
    if (!classOfDtype(data.dtype(), id, complex) || (id != VX_LOGICAL_CLASS && id != VX_DOUBLE_CLASS)) {
        data = numpy().attr("asarray")(data, complex ? "complex128" : "float64");
        id = VX_DOUBLE_CLASS;
    }
    data = numpy().attr("ascontiguousarray")(data);
    auto indices = py::array_t<int64_t>::ensure(csc.attr("indices"));
    auto indptr = py::array_t<int64_t>::ensure(csc.attr("indptr"));
    py::tuple shape = csc.attr("shape");
    std::vector<size_t> ir(indices.data(), indices.data() + indices.size());
    std::vector<size_t> jc(indptr.data(), indptr.data() + indptr.size());
    return {vlhost::createSparse(shape[0].cast<size_t>(), shape[1].cast<size_t>(), id, complex, ir, jc, data.data()),
            false};
}

Argument stringArrayToHost(const py::handle& value) {
    py::list values = value.attr("values");
    std::vector<size_t> dims = value.attr("shape").cast<std::vector<size_t>>();
    std::vector<std::optional<std::u16string>> texts;
    for (py::handle v : values) {
        if (v.is_none()) texts.emplace_back();
        else texts.emplace_back(toUtf16(py::str(v)));
    }
    return {vlhost::createStringArray(dims, texts), dims.size() == 1};
}

}  // namespace

// Whether value's type marks it as a string array; looked up without raising when it is not.
bool isStringArray(const py::handle& value) {
    static PyObject* name = PyUnicode_InternFromString("_vlmathdsp_string_array");
    return _PyType_Lookup(Py_TYPE(value.ptr()), name) != nullptr;
}

Argument toHost(const py::handle& value) {
    // An ndarray, the common case, goes straight to its buffer.
    const bool ndarray = py::isinstance<py::array>(value);
    if (!ndarray && PyFloat_CheckExact(value.ptr())) {  // a Python number: the scalar NumPy makes of it
        vxArray* a = vlhost::createNumeric({1, 1}, VX_DOUBLE_CLASS, false);
        *static_cast<double*>(a->data) = PyFloat_AS_DOUBLE(value.ptr());
        return {a, false};
    }
    if (!ndarray && PyLong_CheckExact(value.ptr())) {
        int overflow = 0;
        const long long v = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
        if (!overflow && !(v == -1 && PyErr_Occurred())) {
            vxArray* a = vlhost::createNumeric({1, 1}, VX_INT64_CLASS, false);
            *static_cast<int64_t*>(a->data) = int64_t(v);
            return {a, false};
        }
        PyErr_Clear();  // beyond int64: NumPy decides
    }
    if (!ndarray) {
        // None and an empty list are the host's [], 0 by 0 (NumPy would make [] 1 by 0).
        if (value.is_none() || (PyList_CheckExact(value.ptr()) && PyList_GET_SIZE(value.ptr()) == 0))
            return {vlhost::createNumeric({0, 0}, VX_DOUBLE_CLASS, false), false};
        if (py::isinstance<py::str>(value)) return {vlhost::createChar(toUtf16(py::str(value))), false};
        if (isStringArray(value)) return stringArrayToHost(value);
        if (isSparse(value)) return sparseToHost(value);
    }
    py::array a = ndarray ? py::reinterpret_borrow<py::array>(value) : py::array(numpy().attr("asarray")(value));
    vxClassID id;
    bool complex;
    if (!classOfDtype(a.dtype(), id, complex))
        throw py::type_error("vlmathdsp: no host class for dtype " + std::string(py::str(a.dtype())));
    std::vector<size_t> dims;
    if (a.ndim() == 0) dims = {1, 1};
    else if (a.ndim() == 1) dims = {1, size_t(a.shape(0))};
    else dims.assign(a.shape(), a.shape() + a.ndim());

    const int flags = py::detail::array_proxy(a.ptr())->flags;
    const bool reusable = (flags & py::detail::npy_api::NPY_ARRAY_F_CONTIGUOUS_) &&
                          (flags & py::detail::npy_api::NPY_ARRAY_ALIGNED_) &&
                          !(a.dtype().byteorder() == '>');
    if (!reusable) {
        // One column-major copy, tiled and parallel, without the GIL; odd layouts go through NumPy.
        std::vector<size_t> strides;
        const py::ssize_t item = a.itemsize();
        bool plain = (flags & py::detail::npy_api::NPY_ARRAY_ALIGNED_) && a.dtype().byteorder() != '>' && a.ndim() > 0;
        for (py::ssize_t d = 0; plain && d < a.ndim(); ++d) {
            const py::ssize_t s = a.strides(d);
            plain = s >= 0 && s % item == 0;
            strides.push_back(size_t(s / item));
        }
        if (plain && a.ndim() == 1) strides.insert(strides.begin(), 0);  // the host's row: 1 x n
        if (plain) {
            vxArray* copy;
            {
                py::gil_scoped_release nogil;
                copy = vlhost::createStridedCopy(dims, id, complex, a.data(), strides);
            }
            return {copy, a.ndim() == 1};
        }
        a = numpy().attr("array")(a, py::arg("order") = "F", py::arg("dtype") = a.dtype().attr("newbyteorder")("="));
    }
    PyObject* owner = a.ptr();
    Py_INCREF(owner);
    return {vlhost::wrapNumeric(std::move(dims), id, complex, const_cast<void*>(a.data()), releasePyObject, owner), a.ndim() == 1};
}

namespace {

// Sparse matrices, text, and arrays of other arrays.
py::object fromHostObject(vxArray* array, vxClassID id, const std::vector<size_t>& dims, size_t count) {
    if (vlhost::isSparse(array)) {
        auto view = vlhost::sparseView(array);
        const bool complex = vlhost::isComplex(array);
        py::array data(dtypeOfClass(id, complex), std::vector<py::ssize_t>{py::ssize_t(view.nonZeros)});
        std::memcpy(data.mutable_data(), view.values, view.nonZeros * data.itemsize());
        py::array_t<int64_t> indices(view.nonZeros), indptr(dims[1] + 1);
        std::copy(view.rowIndex, view.rowIndex + view.nonZeros, indices.mutable_data());
        std::copy(view.columnStart, view.columnStart + dims[1] + 1, indptr.mutable_data());
        return py::module_::import("scipy.sparse").attr("csc_matrix")(py::make_tuple(data, indices, indptr),
                                                                      py::make_tuple(dims[0], dims[1]));
    }
    if (id == VX_CHAR_CLASS) {
        py::str text = fromUtf16(static_cast<const char16_t*>(array->data), count);
        if (dims.size() == 2 && dims[0] <= 1) return std::move(text);
        return numpy().attr("array")(py::list(text)).attr("reshape")(py::tuple(py::cast(dims)), py::arg("order") = "F");
    }
    if (id == VX_OBJECT_CLASS || id == VX_CELL_CLASS || id == VX_STRUCT_CLASS || id == VX_FUNCTION_CLASS) {
        py::list items;
        if (id == VX_OBJECT_CLASS) {
            for (const auto& s : vlhost::strings(array))
                items.append(s ? py::object(fromUtf16(s->data(), s->size())) : py::object(py::none()));
        } else if (id == VX_CELL_CLASS) {
            for (vxArray* child : vlhost::children(array))
                items.append(fromHost(matrix::detail::noninlined::vx_array_api::vxCreateSharedDataCopy(child), false));
        } else if (id == VX_STRUCT_CLASS) {
            const auto& names = vlhost::fieldNames(array);
            const auto& kids = vlhost::children(array);
            for (size_t i = 0; i < count; ++i) {
                py::dict d;
                for (size_t f = 0; f < names.size(); ++f)
                    d[py::str(names[f])] = fromHost(matrix::detail::noninlined::vx_array_api::vxCreateSharedDataCopy(kids[i * names.size() + f]), false);
                items.append(d);
            }
        } else {
            return py::str(vlhost::functionName(array));
        }
        py::array out = numpy().attr("empty")(py::len(items), "object");
        for (size_t i = 0; i < count; ++i) out.attr("__setitem__")(i, items[i]);
        return out.attr("reshape")(py::tuple(py::cast(dims)), py::arg("order") = "F");
    }
    throw std::runtime_error("no Python value for this class");
}

}  // namespace

py::object fromHost(vxArray* array, bool asVector) {
    struct Owned {
        vxArray* a;
        ~Owned() { vlhost::destroy(a); }
    } owned{array};
    const vxClassID id = vlhost::classOf(array);
    const size_t ndims = size_t(array->numDims), *dims = array->get_dimensions();
    size_t count = 1;
    for (size_t k = 0; k < ndims; ++k) count *= dims[k];
    if (vlhost::isSparse(array) || id == VX_CHAR_CLASS || id == VX_OBJECT_CLASS || id == VX_CELL_CLASS ||
        id == VX_STRUCT_CLASS || id == VX_FUNCTION_CLASS)
        return fromHostObject(array, id, std::vector<size_t>(dims, dims + ndims), count);

    const bool complex = vlhost::isComplex(array);
    py::dtype dt = dtypeOfClass(id, complex);
    // Shapes and strides on the stack, the array made by NumPy's own constructor: a small call's
    // result costs no allocation beyond the array object.
    constexpr size_t kMaxNumpyDims = 64;
    if (ndims > kMaxNumpyDims) throw std::runtime_error("more dimensions than NumPy holds");
    py::ssize_t shape[kMaxNumpyDims], strides[kMaxNumpyDims];
    int nd = 0;
    const py::ssize_t item = dt.itemsize();
    if (asVector && ndims == 2 && (dims[0] == 1 || dims[1] == 1)) {
        shape[0] = py::ssize_t(count), strides[0] = item, nd = 1;
    } else {
        // The host keeps byte sizes within PTRDIFF_MAX, so no stride below overflows.
        size_t stride = size_t(item);
        for (size_t k = 0; k < ndims; ++k) {
            shape[nd] = py::ssize_t(dims[k]), strides[nd] = py::ssize_t(stride), ++nd;
            stride *= dims[k];
        }
    }
    auto& api = py::detail::npy_api::get();
    const bool own = vlhost::ownsAlignedData(array) && count != 0;
    // Memory that is not the host's own came from an input: it is copied.
    constexpr int kWritable = py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
    auto out = py::reinterpret_steal<py::array>(api.PyArray_NewFromDescr_(
        api.PyArray_Type_, dt.release().ptr(), nd, shape, strides, own ? array->data : nullptr, own ? kWritable : 0,
        nullptr));
    if (!out) throw py::error_already_set();
    if (!own) {
        if (count) std::memcpy(out.mutable_data(), array->data, count * size_t(item));
        return std::move(out);
    }
    void* token = vlhost::retainData(array);
    py::capsule base(token, [](void* t) { vlhost::releaseData(t); });
    if (api.PyArray_SetBaseObject_(out.ptr(), base.release().ptr()) != 0) throw py::error_already_set();
    return std::move(out);
}

}  // namespace vlpy
