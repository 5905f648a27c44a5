// One coverage-guided fuzz target per family of built-ins, over the embedding API: each case is
// called at one thread and at two, and must end with results of the same bits or the same
// catalogued error, its inputs unchanged and nothing of its own left alive.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tests/fuzz/libfuzzer/decode.hpp"

#ifndef VLFUZZ_FAMILY
#error "VLFUZZ_FAMILY names the family: conv, fourier, dcst, filter, statespace or network"
#endif

namespace {

using vlfuzz::Reader;

const vlhost::Module& module() {
    try {
        return vlhost::Module::load(VLMATHDSP_MODULE_PATH);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        std::abort();
    }
}

std::vector<vxBuiltin> family(const std::string& name) {
    const vlhost::Module& m = module();
    auto slots = [&](std::initializer_list<size_t> numbers) {
        std::vector<vxBuiltin> fns;
        for (size_t n : numbers) fns.push_back(m.slot(n));
        return fns;
    };
    if (name == "conv") {
        auto fns = slots({2, 3});
        fns.push_back(vlhost::findFunction("veltra.internal.math.stridedConvn"));
        fns.push_back(vlhost::findFunction("veltra.internal.math.convPart"));
        return fns;
    }
    if (name == "fourier") return slots({4, 5, 6, 7});  // not the planner control: its settings outlive a case
    if (name == "dcst") {
        std::vector<vxBuiltin> fns;
        for (const char* f : {"vldct", "vlidct", "vldst", "vlidst", "vldctn", "vlidctn", "vldstn", "vlidstn"})
            fns.push_back(vlhost::findFunction(std::string("veltra.internal.math.transform.") + f));
        return fns;
    }
    if (name == "filter") return slots({9});
    if (name == "statespace") return slots({11});
    if (name == "network") return slots({0, 1, 12, 13, 14, 15});
    std::abort();
}

// FNV-1a over bytes: a result's data is compared by this, not copied into the image, so that a
// result of hundreds of megabytes does not make an image past the allocation limit.
uint64_t fingerprint(const char* p, size_t bytes) {
    uint64_t h = 14695981039346656037ull;
    for (size_t i = 0; i < bytes; ++i) h = (h ^ uint8_t(p[i])) * 1099511628211ull;
    return h;
}

// An array's class, size and a fingerprint of its data (data only for full numeric, logical and
// text arrays).
std::string image(const vxArray* a) {
    if (!a) return "none";
    std::string out = std::to_string(vlhost::classOf(a)) + (vlhost::isComplex(a) ? "c" : "r");
    size_t count = 1;
    for (size_t d : vlhost::dimensions(a)) {
        out += "x" + std::to_string(d);
        count *= d;
    }
    const vxClassID id = vlhost::classOf(a);
    if (vlhost::isSparse(a) || !(vxIsNumericFlags(a) || id == VX_LOGICAL_CLASS || id == VX_CHAR_CLASS)) return out;
    const size_t bytes = count * matrix::detail::noninlined::vx_array_api::vxGetElementSize(a);
    if (bytes && a->data) out += ":" + std::to_string(fingerprint(static_cast<const char*>(a->data), bytes));
    return out;
}

// The call's outcome: the error's identifier, or the images of its outputs.
std::string outcome(vxBuiltin fn, int nlhs, const std::vector<const vxArray*>& args) {
    try {
        vlhost::CallResult r = vlhost::call(fn, nlhs, args);
        std::string out = "ok";
        for (vxArray* a : r.outputs) {
            out += "|" + image(a);
            if (a) vlhost::destroy(a);
        }
        return out;
    } catch (const vlhost::HostError& e) {
        if (!vlhost::catalogueHas(e.identifier)) std::abort();  // an identifier the catalogue lacks
        if (std::getenv("VLFUZZ_SHOW")) std::fprintf(stderr, "error: %s\n", e.what());
        return e.identifier;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::vector<vxBuiltin> fns = family(VLFUZZ_FAMILY);
    Reader in(data, size);
    vxBuiltin fn = fns[in.byte() % fns.size()];
    const int nlhs = in.byte() % 4;
    std::vector<vxArray*> arrays = vlfuzz::readArrays(in);
    std::vector<std::string> before;
    for (const vxArray* a : arrays) before.push_back(image(a));
    const std::vector<const vxArray*> args(arrays.begin(), arrays.end());
    const long live = vlhost::liveArrays(), blocks = vlhost::liveByteBlocks();

    vlhost::setNumThreads(1);
    const std::string serial = outcome(fn, nlhs, args);
    if (std::getenv("VLFUZZ_SHOW"))  // what a replayed case gave
        std::fprintf(stderr, "outcome: %s\n", serial.substr(0, serial.find('|', 3)).c_str());
    vlhost::setNumThreads(2);
    if (outcome(fn, nlhs, args) != serial) std::abort();  // the thread count changed the result
    if (vlhost::liveArrays() != live || vlhost::liveByteBlocks() != blocks) std::abort();  // left alive
    for (size_t k = 0; k < arrays.size(); ++k)
        if (image(arrays[k]) != before[k]) std::abort();  // an input was written
    for (vxArray* a : arrays) vlhost::destroy(a);
    return 0;
}
