// The extension's call path, shared by its general and its fast calls. Called with the GIL held.
#pragma once

#include <pybind11/pybind11.h>

#include "host/embed.hpp"

namespace vlpy {

namespace py = pybind11;

// The library's table, once loaded.
extern const vlhost::Module* gModule;

// Converts the arguments, calls fn without the GIL, raises its warnings and returns its results
// (one without a tuple when nargout is at most 1); the principal argument's 1-d form makes vector
// results 1-d (-1: none).
py::object run(vxBuiltin fn, PyObject* const* args, size_t count, int nargout, int principal);

// The built-in in a slot of the table, given as a Python int; the host's noSuchSlot otherwise.
vxBuiltin slotOf(PyObject* slot);

// Sets a host error as the Python exception, vlmathdsp.Error with its identifier.
void setError(const vlhost::HostError& e);

// The plain fast calls, added to the module.
void addFastCalls(py::module_& m);

}  // namespace vlpy
