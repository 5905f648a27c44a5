// Conversion between Python values and host arrays. Called with the GIL held.
#pragma once

#include <pybind11/pybind11.h>

#include "host/embed.hpp"

namespace vlpy {

namespace py = pybind11;

// An argument: the host array, and whether the value was a 1-d array.
struct Argument {
    vxArray* array;
    bool oneDimensional;
};

// Raises TypeError for a value that has no host class.
Argument toHost(const py::handle& value);
// Takes ownership of the array; the result never shares memory with a Python input.
py::object fromHost(vxArray* array, bool asVector);

}  // namespace vlpy
