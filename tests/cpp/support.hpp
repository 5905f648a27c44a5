// Helpers shared by the C++ tests: owned arrays, filling and reading data, the loaded module.
#pragma once

#include <gtest/gtest.h>

#include <complex>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "host/embed.hpp"

namespace vltest {

struct ArrayDeleter {
    void operator()(vxArray* a) const { vlhost::destroy(a); }
};
using Array = std::unique_ptr<vxArray, ArrayDeleter>;

inline Array numeric(const std::vector<size_t>& dims, vxClassID id = VX_DOUBLE_CLASS, bool complex = false) {
    return Array(vlhost::createNumeric(dims, id, complex));
}

template <class T>
Array fromValues(const std::vector<size_t>& dims, const std::vector<T>& values, vxClassID id) {
    Array a = numeric(dims, id, false);
    std::copy(values.begin(), values.end(), static_cast<T*>(a->data));
    return a;
}

inline Array doubles(const std::vector<size_t>& dims, const std::vector<double>& values) {
    return fromValues<double>(dims, values, VX_DOUBLE_CLASS);
}

inline Array complexes(const std::vector<size_t>& dims, const std::vector<std::complex<double>>& values) {
    Array a = numeric(dims, VX_DOUBLE_CLASS, true);
    std::copy(values.begin(), values.end(), static_cast<std::complex<double>*>(a->data));
    return a;
}

inline std::vector<double> randomDoubles(size_t n, std::mt19937_64& rng) {
    std::normal_distribution<double> d;
    std::vector<double> v(n);
    for (auto& x : v) x = d(rng);
    return v;
}

inline std::vector<std::complex<double>> randomComplexes(size_t n, std::mt19937_64& rng) {
    std::normal_distribution<double> d;
    std::vector<std::complex<double>> v(n);
    for (auto& x : v) x = {d(rng), d(rng)};
    return v;
}

#ifdef VLMATHDSP_MODULE_PATH
inline const vlhost::Module& module() { return vlhost::Module::load(VLMATHDSP_MODULE_PATH); }
#endif

// Calls a slot and owns its outputs.
struct Outputs {
    std::vector<Array> arrays;
    std::vector<vlhost::Warning> warnings;
};

inline Outputs run(vxBuiltin fn, int nlhs, const std::vector<const vxArray*>& args) {
    vlhost::CallResult r = vlhost::call(fn, nlhs, args);
    Outputs out;
    for (vxArray* a : r.outputs) out.arrays.emplace_back(a);
    out.warnings = r.warnings;
    return out;
}

// The identifier of the error a call raises, or "" when it succeeds.
inline std::string errorOf(vxBuiltin fn, int nlhs, const std::vector<const vxArray*>& args) {
    try {
        run(fn, nlhs, args);
    } catch (const vlhost::HostError& e) {
        return e.identifier;
    }
    return "";
}

// The identifier of the host error that `make` raises, or "" when it raises none.
inline std::string identifierOf(const std::function<void()>& make) {
    try {
        make();
    } catch (const vlhost::HostError& e) {
        return e.identifier;
    } catch (const foundation::core::except::IMsgIDException& e) {
        return e.GetErrorIdentifier();
    }
    return "";
}

}  // namespace vltest
