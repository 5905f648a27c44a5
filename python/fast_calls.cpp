// Plain fast calls for small calls in loops, where parsing arguments the general way costs more
// than the work: each checks its arrays itself and answers None when they are not its case.
#include <pybind11/numpy.h>

#include "python/calls.hpp"

namespace vlpy {

namespace {

using npy = py::detail::npy_api;

// The NumPy type number of a non-empty 1-d ndarray (not a subclass) of float32, float64,
// complex64 or complex128 in the machine's byte order; -1 for anything else.
int vectorType(PyObject* x) {
    auto& api = npy::get();
    if (Py_TYPE(x) != api.PyArray_Type_) return -1;
    const auto* a = py::detail::array_proxy(x);
    const auto* descr = py::detail::array_descriptor_proxy(a->descr);
    const int type = descr->type_num;
    if (descr->byteorder == '>') return -1;
    const bool floating = type == npy::NPY_FLOAT_ || type == npy::NPY_DOUBLE_ || type == npy::NPY_CFLOAT_ ||
                          type == npy::NPY_CDOUBLE_;
    return floating && a->nd == 1 && a->dimensions[0] != 0 ? type : -1;
}

// r as an array of NumPy type `type`: a result whose imaginary parts are all zero comes back real.
py::object ofType(py::object r, int type) {
    auto& api = npy::get();
    if (Py_TYPE(r.ptr()) == api.PyArray_Type_ &&
        py::detail::array_descriptor_proxy(py::detail::array_proxy(r.ptr())->descr)->type_num == type)
        return r;
    return r.attr("astype")(py::reinterpret_steal<py::object>(api.PyArray_DescrFromType_(type)));
}

template <class Body>
PyObject* guarded(const Body& body) {
    try {
        return body();
    } catch (const vlhost::HostError& e) {
        setError(e);
    } catch (const std::bad_alloc&) {
        setError(vlhost::hostError("nomem", ""));
    } catch (py::error_already_set& e) {
        e.restore();
    } catch (const py::builtin_exception& e) {
        e.set_error();
    } catch (const std::exception& e) {
        PyErr_SetString(PyExc_RuntimeError, e.what());
    }
    return nullptr;
}

// complex_of_vector(slot, x[, n]): the slot's result for a vector x (and a length), as complex
// of x's precision.
PyObject* complexOfVector(PyObject*, PyObject* const* args, Py_ssize_t count) {
    return guarded([&]() -> PyObject* {
        if (count != 2 && count != 3) throw py::type_error("complex_of_vector takes a slot, an array and a length");
        const int type = vectorType(args[1]);
        if (type < 0) Py_RETURN_NONE;
        const int want = type == npy::NPY_FLOAT_ || type == npy::NPY_CFLOAT_ ? npy::NPY_CFLOAT_ : npy::NPY_CDOUBLE_;
        return ofType(run(slotOf(args[0]), args + 1, size_t(count - 1), 1, 0), want).release().ptr();
    });
}

// The slot's result for vectors of one type, as that type; None for other arguments.
PyObject* ofVectorsOfOneType(PyObject* const* args, Py_ssize_t count) {
    if (count < 3) throw py::type_error("vectors_of_one_type takes a slot, a principal and arrays");
    const int type = vectorType(args[2]);
    if (type < 0) Py_RETURN_NONE;
    for (Py_ssize_t k = 3; k < count; ++k)
        if (vectorType(args[k]) != type) Py_RETURN_NONE;
    const long principal = PyLong_AsLong(args[1]);
    if (principal == -1 && PyErr_Occurred()) throw py::error_already_set();
    return ofType(run(slotOf(args[0]), args + 2, size_t(count - 2), 1, int(principal)), type).release().ptr();
}

// vectors_of_one_type(slot, principal, *arrays)
PyObject* vectorsOfOneType(PyObject*, PyObject* const* args, Py_ssize_t count) {
    return guarded([&] { return ofVectorsOfOneType(args, count); });
}

// try_vectors_of_one_type(slot, principal, *arrays): None also where the engine raises; the
// caller's full path then makes the error its own.
PyObject* tryVectorsOfOneType(PyObject*, PyObject* const* args, Py_ssize_t count) {
    return guarded([&]() -> PyObject* {
        try {
            return ofVectorsOfOneType(args, count);
        } catch (const vlhost::HostError&) {
            Py_RETURN_NONE;
        }
    });
}

PyMethodDef gFastCalls[] = {
    {"complex_of_vector", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(complexOfVector)), METH_FASTCALL,
     "The slot's result for a non-empty NumPy vector of the engine's classes (and a length), as complex of "
     "its precision; None for any other value."},
    {"vectors_of_one_type", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(vectorsOfOneType)),
     METH_FASTCALL,
     "The slot's result for non-empty NumPy vectors of one of the engine's floating types, as that type; "
     "None for any other values."},
    {"try_vectors_of_one_type", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(tryVectorsOfOneType)),
     METH_FASTCALL, "As vectors_of_one_type, and None where the engine raises an error."},
};

}  // namespace

vxBuiltin slotOf(PyObject* slot) {
    int overflow = 0;
    const long long index = PyLong_AsLongLongAndOverflow(slot, &overflow);
    if (index == -1 && PyErr_Occurred()) throw py::error_already_set();
    if (overflow || index < 0 || size_t(index) >= gModule->slotCount())
        throw vlhost::hostError("noSuchSlot", std::string(py::str(slot)));
    return gModule->slot(size_t(index));
}

void addFastCalls(py::module_& m) {
    for (PyMethodDef& def : gFastCalls)
        m.add_object(def.ml_name, py::reinterpret_steal<py::object>(PyCFunction_New(&def, nullptr)));
}

}  // namespace vlpy
