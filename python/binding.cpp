// The extension module: calls built-ins with Python values, without the GIL.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "fftlib/fft.hpp"
#include "python/calls.hpp"
#include "python/convert.hpp"
#include "python/half_spectrum.hpp"
#include "python/interrupt.hpp"

namespace vlpy {

const vlhost::Module* gModule = nullptr;

namespace {

// Kept for the life of the process: never released after the interpreter is gone.
py::handle gErrorClass, gWarningClass;
std::string gModulePath;  // the copy of the library loaded, for the instruction set

// Arguments converted for one call; destroyed with the GIL held.
struct Arguments {
    std::vector<const vxArray*> arrays;
    ~Arguments() {
        for (const vxArray* a : arrays) vlhost::destroy(const_cast<vxArray*>(a));
    }
};

// Host text as str; a name given with lone surrogates comes back as it was given.
py::str text(const std::string& s) {
    PyObject* t = PyUnicode_DecodeUTF8(s.data(), Py_ssize_t(s.size()), "surrogatepass");
    if (!t) {
        PyErr_Clear();
        t = PyUnicode_DecodeUTF8(s.data(), Py_ssize_t(s.size()), "replace");
    }
    if (!t) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(t);
}

}  // namespace

// A host error as vlmathdsp.Error, with its identifier.
void setError(const vlhost::HostError& e) {
    py::list arguments;
    for (const std::string& a : e.arguments) arguments.append(text(a));
    py::object error = gErrorClass(text(e.what()), e.identifier, e.component, e.key, arguments);
    PyErr_SetObject(gErrorClass.ptr(), error.ptr());
}

namespace {

// A Python int as a count within [low, high], or the host's error `key` naming the value.
long long boundedInt(const py::int_& value, long long low, long long high, const char* key, const std::string& range) {
    int overflow = 0;
    const long long v = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
    if (v == -1 && PyErr_Occurred()) throw py::error_already_set();
    if (overflow || v < low || v > high) throw vlhost::hostError(key, range);
    return v;
}

}  // namespace

namespace {

// Calls that read less are short: they do without the SIGINT watch and its two system calls.
constexpr size_t kWatchedBytes = size_t(1) << 16;

size_t ndarrayBytes(PyObject* x) {
    auto& api = py::detail::npy_api::get();
    if (!api.PyArray_Check_(x)) return 0;
    const auto* a = py::detail::array_proxy(x);
    size_t bytes = size_t(py::detail::array_descriptor_proxy(a->descr)->elsize);
    for (int d = 0; d < a->nd; ++d) bytes *= size_t(a->dimensions[d]);
    return bytes;
}

}  // namespace

py::object run(vxBuiltin fn, PyObject* const* args, size_t count, int nargout, int principal) {
    Arguments in;
    bool principalIsVector = false;
    size_t bytes = 0;
    in.arrays.reserve(count);
    for (size_t k = 0; k < count; ++k) {
        Argument converted = toHost(args[k]);
        in.arrays.push_back(converted.array);
        if (principal >= 0 && k == size_t(principal)) principalIsVector = converted.oneDimensional;
        bytes = std::max(bytes, ndarrayBytes(args[k]));
    }
    vlhost::CallResult result;
    try {
        // A short call keeps the GIL: releasing and taking it back costs more than it lets run.
        if (bytes < kWatchedBytes) {
            result = vlhost::call(fn, nargout, in.arrays);
        } else {
            SigintWatch watch(true);
            py::gil_scoped_release nogil;
            result = vlhost::call(fn, nargout, in.arrays);
        }
    } catch (const vlhost::HostError& e) {
        // Python's handler had the signal too: KeyboardInterrupt, unless it chose otherwise.
        if (e.identifier == "VELTRA:interrupted" && PyErr_CheckSignals() != 0) throw py::error_already_set();
        throw;
    }
    for (const auto& w : result.warnings) {
        py::object warning = gWarningClass(w.message, w.identifier);
        py::module_::import("warnings").attr("warn")(warning, py::arg("stacklevel") = 3);
    }
    if (nargout <= 1) {
        vxArray* out = result.outputs[0];
        result.outputs[0] = nullptr;
        return out ? fromHost(out, principalIsVector) : py::object(py::none());
    }
    py::tuple outputs(result.outputs.size());
    for (size_t i = 0; i < result.outputs.size(); ++i) {
        vxArray*& out = result.outputs[i];
        outputs[i] = out ? fromHost(out, principalIsVector) : py::object(py::none());
        out = nullptr;
    }
    return std::move(outputs);
}

namespace {

py::object runTuple(vxBuiltin fn, const py::tuple& args, int nargout, int principal) {
    return run(fn, PySequence_Fast_ITEMS(args.ptr()), size_t(args.size()), nargout, principal);
}

// Probes for the tests of the conversion layer: they run through the same call path.
void echoProbe(int, vxArray** plhs, int nrhs, const vxArray** prhs) {
    if (nrhs > 0) plhs[0] = const_cast<vxArray*>(prhs[0]);
}

// The values no Python value makes: a text matrix, a cell, a structure array, a function handle.
void hostValuesProbe(int, vxArray** plhs, int, const vxArray**) {
    plhs[0] = vlhost::createCharArray({2, 3}, u"adbecf");
    plhs[1] = vlhost::createCell({1, 2}, {matrix::detail::noninlined::vx_array_api::vxCreateDoubleMatrix(1, 2, vxREAL),
                                          vlhost::createChar(u"ab")});
    plhs[2] = vlhost::createStruct({1, 2}, {"a", "b"},
                                   {vlhost::createChar(u"x"), vlhost::createChar(u"y"), vlhost::createChar(u"z"),
                                    vlhost::createFunctionHandle("cos")});
    plhs[3] = vlhost::createFunctionHandle("sin");
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
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) std::rethrow_exception(p);
        } catch (const vlhost::HostError& e) {
            setError(e);
        } catch (const std::bad_alloc&) {
            setError(vlhost::hostError("nomem", ""));  // an input's copy on entry found no memory
        }
    });
    m.def("load", [](const std::string& path, py::object errorClass, py::object warningClass, size_t maxDims) {
        gErrorClass = errorClass.release();
        gWarningClass = warningClass.release();
        vlhost::setMaxDimensions(maxDims);
        gModulePath = vlhost::bestModuleVariant(path);
        gModule = &vlhost::Module::load(gModulePath);
        noteMainThread(py::module_::import("threading").attr("main_thread")().attr("ident").cast<unsigned long>());
    });
    m.def("call_slot", [](py::int_ slot, py::tuple args, py::int_ nargout, int principal) {
        vxBuiltin fn = slotOf(slot.ptr());
        const int outputs = int(boundedInt(nargout, 0, vlhost::kMaxOutputs, "outputCount", std::to_string(vlhost::kMaxOutputs)));
        return runTuple(fn, args, outputs, principal);
    });
    addFastCalls(m);
    m.def("module_path", []() { return gModulePath; });
    m.def("half_spectrum", [](py::object x, py::object n, py::object dim) {
        return runTuple(&halfSpectrum, py::make_tuple(x, n, dim), 1, 0);
    });
    m.def("call_function", [](py::str fullName, py::tuple args, py::int_ nargout, int principal) {
        // Lone surrogates pass through: such a name is simply not found.
        py::object encoded = py::reinterpret_steal<py::object>(
            PyUnicode_AsEncodedString(fullName.ptr(), "utf-8", "surrogatepass"));
        if (!encoded) throw py::error_already_set();
        const std::string name(PyBytes_AS_STRING(encoded.ptr()), size_t(PyBytes_GET_SIZE(encoded.ptr())));
        const int outputs = int(boundedInt(nargout, 0, vlhost::kMaxOutputs, "outputCount", std::to_string(vlhost::kMaxOutputs)));
        vxBuiltin fn = vlhost::findFunction(name);
        if (!fn) throw vlhost::hostError("undefinedFunction", name);
        return runTuple(fn, args, outputs, principal);
    });
    m.def("set_num_threads", [](py::int_ n) {
        vlhost::setNumThreads(size_t(boundedInt(n, 1, vlhost::kMaxThreads, "threadCount", std::to_string(vlhost::kMaxThreads))));
    });
    m.def("set_thread_num_threads", [](py::int_ n) {
        vlhost::setThreadNumThreads(size_t(boundedInt(n, 0, vlhost::kMaxThreads, "threadCount", std::to_string(vlhost::kMaxThreads))));
    });
    m.attr("max_threads") = vlhost::kMaxThreads;
    m.def("get_num_threads", []() { return vlhost::numThreads(); });
    m.def("live_arrays", []() { return vlhost::liveArrays(); });
    m.def("live_blocks", []() { return vlhost::liveByteBlocks(); });
    m.def("_echo", [](py::tuple args) { return runTuple(echoProbe, args, 1, 0); });
    m.def("_warn", []() { return runTuple(warnProbe, py::tuple(), 1, -1); });
    m.def("_host_values", []() { return runTuple(hostValuesProbe, py::tuple(), 4, -1); });
    m.def("_host_data_address", [](py::object value) {
        Argument a = toHost(value);
        const auto address = reinterpret_cast<uintptr_t>(a.array->data);
        vlhost::destroy(a.array);
        return address;
    });
    m.def("_set_malloc_ex_fail_after", [](long n) { vlhost::setMallocExFailAfter(n); });
    m.def("_plans_made", []() { return vfl_fft::fftwApi::getInstance().plansMade(); });
    m.def("package_functions", []() { return vlhost::packageFunctionNames(); });
    m.def("catalogue", []() { return vlhost::catalogueEntries(); });
}
