// The extension module: calls built-ins with Python values, without the GIL.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "fftlib/fft.hpp"
#include "python/convert.hpp"

namespace vlpy {

namespace {

// Kept for the life of the process: never released after the interpreter is gone.
py::handle gErrorClass, gWarningClass;
const vlhost::Module* gModule = nullptr;

// Arguments converted for one call; destroyed with the GIL held.
struct Arguments {
    std::vector<const vxArray*> arrays;
    std::vector<bool> oneDimensional;
    ~Arguments() {
        for (const vxArray* a : arrays) vlhost::destroy(const_cast<vxArray*>(a));
    }
};

py::object run(vxBuiltin fn, const py::tuple& args, int nargout, int principal) {
    if (!fn) throw std::runtime_error("vlmathdsp: no such built-in");
    Arguments in;
    for (py::handle a : args) {
        Argument converted = toHost(a);
        in.arrays.push_back(converted.array);
        in.oneDimensional.push_back(converted.oneDimensional);
    }
    vlhost::CallResult result;
    try {
        py::gil_scoped_release nogil;
        result = vlhost::call(fn, nargout, in.arrays);
    } catch (const vlhost::HostError& e) {
        py::object error = gErrorClass(e.what(), e.identifier, e.component, e.key, py::cast(e.arguments));
        PyErr_SetObject(gErrorClass.ptr(), error.ptr());
        throw py::error_already_set();
    }
    for (const auto& w : result.warnings) {
        py::object warning = gWarningClass(w.message, w.identifier);
        py::module_::import("warnings").attr("warn")(warning, py::arg("stacklevel") = 3);
    }
    const bool principalIsVector = principal >= 0 && size_t(principal) < in.oneDimensional.size() &&
                                   in.oneDimensional[size_t(principal)];
    py::list outputs;
    for (vxArray*& out : result.outputs) {
        outputs.append(out ? fromHost(out, principalIsVector) : py::object(py::none()));
        out = nullptr;
    }
    if (nargout <= 1) return outputs[0];
    return py::tuple(outputs);
}

// Probes for the tests of the conversion layer: they run through the same call path.
void echoProbe(int, vxArray** plhs, int nrhs, const vxArray** prhs) {
    if (nrhs > 0) plhs[0] = const_cast<vxArray*>(prhs[0]);
}

void warnProbe(int, vxArray** plhs, int nrhs, const vxArray** prhs) {
    vxWarningMsgId(resource_core::BaseMsgID{{}, "VELTRA:fftfcn", "WisdomImportFailed"});
    plhs[0] = matrix::detail::noninlined::vx_array_api::vxCreateDoubleMatrix(1, 1, vxREAL);
}

}  // namespace

}  // namespace vlpy

PYBIND11_MODULE(_vlmathdsp, m) {
    using namespace vlpy;
    m.doc() = "Host of the vlmathdsp library";
    m.def("load", [](const std::string& path, py::object errorClass, py::object warningClass) {
        gErrorClass = errorClass.release();
        gWarningClass = warningClass.release();
        gModule = &vlhost::Module::load(path);
    });
    m.def("call_slot", [](size_t slot, py::tuple args, int nargout, int principal) {
        return run(gModule->slot(slot), args, nargout, principal);
    });
    m.def("call_function", [](const std::string& name, py::tuple args, int nargout, int principal) {
        vxBuiltin fn = vlhost::findFunction(name);
        if (!fn) {
            const std::string text = vlhost::catalogueText("VELTRA", "undefinedFunction", {name});
            PyErr_SetObject(gErrorClass.ptr(),
                            gErrorClass(text, "VELTRA:undefinedFunction", "VELTRA", "undefinedFunction",
                                        py::make_tuple(name)).ptr());
            throw py::error_already_set();
        }
        return run(fn, args, nargout, principal);
    });
    m.def("set_num_threads", [](size_t n) { vlhost::setNumThreads(n); });
    m.def("get_num_threads", []() { return vlhost::numThreads(); });
    m.def("live_arrays", []() { return vlhost::liveArrays(); });
    m.def("live_blocks", []() { return vlhost::liveByteBlocks(); });
    m.def("_echo", [](py::tuple args) { return run(echoProbe, args, 1, 0); });
    m.def("_warn", []() { return run(warnProbe, py::tuple(), 1, -1); });
    m.def("_host_data_address", [](py::object value) {
        Argument a = toHost(value);
        const auto address = reinterpret_cast<uintptr_t>(a.array->data);
        vlhost::destroy(a.array);
        return address;
    });
    m.def("_set_malloc_ex_fail_after", [](long n) { vlhost::setMallocExFailAfter(n); });
    m.def("_plans_made", []() { return vfl_fft::fftwApi::getInstance().plansMade(); });
    m.def("package_functions", []() { return vlhost::packageFunctionNames(); });
}
