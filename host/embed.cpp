// The embedding API: loading modules, calling built-ins in call frames, making arrays.
#include "host/embed.hpp"

#include <dlfcn.h>
#include <errno.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <system_error>

#include "common/isa.hpp"
#include "host/call_frame.hpp"
#include "host/errors.hpp"
#include "host/interrupt.hpp"
#include "host/threads.hpp"

namespace vlhost {

using namespace detail;

// ---- Modules --------------------------------------------------------------------------------

namespace {

template <class T>
T symbol(void* handle, const char* name) {
    void* p = dlsym(handle, name);
    if (!p) throw std::runtime_error(std::string("module lacks ") + name);
    return reinterpret_cast<T>(p);
}

struct TableView {
    const vxBuiltin* slots;
    uint64_t words[3];
};

}  // namespace

Module::Module(void* handle)
    : handle_(handle),
      initialize_(symbol<void (*)()>(handle, "VLInitialize_libvlmathdsp")),
      terminate_(symbol<void (*)()>(handle, "VLTerminate_libvlmathdsp")),
      query_(symbol<const void* (*)()>(handle, "QueryVLFcnTable_libvlmathdsp")) {}

Module& Module::load(const std::string& path) {
    static std::mutex mutex;
    static std::map<std::string, std::unique_ptr<Module>> modules;
    std::lock_guard<std::mutex> lock(mutex);
    auto& slot = modules[path];
    if (!slot) {
        void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!handle) throw std::runtime_error(std::string("cannot load ") + path + ": " + dlerror());
        std::unique_ptr<Module> m(new Module(handle));
        m->initialize();
        reserveBlasBuffers();  // before any call of the module depends on them
        slot = std::move(m);
    }
    return *slot;
}

Module& Module::loadDefault() {
    Dl_info info{};
    if (!dladdr(reinterpret_cast<void*>(&Module::loadDefault), &info) || !info.dli_fname)
        throw std::runtime_error("cannot find the directory of libvlhost");
    const std::string self = info.dli_fname;
    const size_t slash = self.rfind('/');
    return load(bestModuleVariant((slash == std::string::npos ? std::string(".") : self.substr(0, slash)) +
                                  "/libvlmathdsp.so"));
}

std::string bestModuleVariant(const std::string& path) {
    const std::string suffix = ".so";
    if (path.size() < suffix.size() || path.compare(path.size() - suffix.size(), suffix.size(), suffix) != 0)
        return path;
    const std::string stem = path.substr(0, path.size() - suffix.size());
    struct Level {
        const char* name;
        bool runs;
    };
    const Level levels[] = {{"x86-64-v4", vlcommon::runsLevel4()}, {"x86-64-v3", vlcommon::runsLevel3()}};
    const auto exists = [](const std::string& p) { return access(p.c_str(), R_OK) == 0; };
    const char* asked = std::getenv("VLMATHDSP_ISA");
    if (asked && *asked) {
        if (std::string(asked) == "baseline") return path;
        for (const Level& level : levels)
            if (asked == std::string(level.name)) {
                const std::string variant = stem + "-" + level.name + suffix;
                if (!level.runs || !exists(variant)) throw hostError("isaUnavailable", asked);
                return variant;
            }
        throw hostError("isaUnavailable", asked);
    }
    for (const Level& level : levels) {
        const std::string variant = stem + "-" + level.name + suffix;
        if (level.runs && exists(variant)) return variant;
    }
    return path;
}

void Module::initialize() const { initialize_(); }
void Module::terminate() const { terminate_(); }
const void* Module::tableAddress() const { return query_(); }

uint64_t Module::tableWord(size_t index) const {
    uint64_t words[4];
    std::memcpy(words, query_(), sizeof(words));
    return words[index];
}

size_t Module::slotCount() const { return static_cast<const TableView*>(query_())->words[2]; }

vxBuiltin Module::slot(size_t index) const {
    if (index >= slotCount()) throw hostError("noSuchSlot", std::to_string(index));
    return static_cast<const TableView*>(query_())->slots[index];
}

std::string Module::version() const { return *symbol<const char* const*>(handle_, "libvlmathdsp_version"); }
std::string Module::buildDate() const { return *symbol<const char* const*>(handle_, "libvlmathdsp_build_date"); }
std::string Module::relativePath() const {
    return *symbol<const char* const*>(handle_, "libvlmathdsp_relative_path");
}

// ---- Calls ----------------------------------------------------------------------------------

namespace {

HostError errorFrom(const resource_core::BaseMsgID& id) {
    std::vector<std::string> arguments;
    for (const auto& a : id.arguments)
        if (const auto* s = std::get_if<std::string>(&a)) arguments.push_back(*s);
    return HostError(id.component + ":" + id.key, id.component, id.key, arguments, catalogueText(id));
}

}  // namespace

HostError hostError(const std::string& key, const std::string& argument) {
    return errorFrom(resource_core::BaseMsgID{{argument}, "VELTRA", key});
}

namespace {

// A failure to get memory or a thread told in another form: TBB reports a thread it could not
// start as a runtime_error ending in the system's text for EAGAIN, a system_error carries the code.
bool outOfResources(const std::exception& e) {
    if (const auto* system = dynamic_cast<const std::system_error*>(&e)) {
        const int code = system->code().value();
        return code == EAGAIN || code == ENOMEM;
    }
    const std::string what = e.what();
    for (const int code : {EAGAIN, ENOMEM}) {
        const std::string text = std::strerror(code);
        if (what.size() >= text.size() && what.compare(what.size() - text.size(), text.size(), text) == 0) return true;
    }
    return false;
}

}  // namespace

static CallResult callIn(vxBuiltin fn, int nlhs, const std::vector<const vxArray*>& args);

CallResult call(vxBuiltin fn, int nlhs, const std::vector<const vxArray*>& args) {
    try {
        return callIn(fn, nlhs, args);
    } catch (const HostError&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw hostError("nomem", "");  // entering the call: its arena, its frame, its lists
    } catch (const std::exception& e) {
        if (outOfResources(e)) throw hostError("nomem", "");
        throw;
    }
}

static CallResult callIn(vxBuiltin fn, int nlhs, const std::vector<const vxArray*>& args) {
    if (nlhs < 0 || nlhs > kMaxOutputs) throw hostError("outputCount", std::to_string(kMaxOutputs));
    CallResult result;
    std::unique_ptr<HostError> failure;
    std::vector<vxArray*> plhs(static_cast<size_t>(std::max(nlhs, 1)), nullptr);
    bool entered = false, interrupted = false;
    callArena().execute([&] { runInterruptibly([&] {
        entered = true;
        CallFrame frame;
        try {
            fn(nlhs, plhs.data(), static_cast<int>(args.size()), const_cast<const vxArray**>(args.data()));
            // An interrupted call's outputs are partly written: the frame reclaims them.
            interrupted = tbb::is_current_task_group_canceling();
            if (interrupted) return;
            for (size_t i = 0; i < plhs.size(); ++i) {
                vxArray*& out = plhs[i];
                if (!out) continue;
                // A result never is an argument, nor another result.
                const bool repeated = std::find(args.begin(), args.end(), out) != args.end() ||
                                      std::find(plhs.begin(), plhs.begin() + i, out) != plhs.begin() + i;
                if (repeated) out = matrix::detail::noninlined::vx_array_api::vxCreateSharedDataCopy(out);
                CallFrame::unlink(host(out));
            }
            result.warnings.reserve(frame.warnings.size());
            for (auto& w : frame.warnings) result.warnings.push_back({w.identifier, w.message});
        } catch (const foundation::core::except::IMsgIDException& e) {
            failure = std::make_unique<HostError>(errorFrom(*e.GetMsgID()));
        } catch (const std::bad_alloc&) {
            failure = std::make_unique<HostError>(hostError("nomem", ""));
        } catch (const std::exception& e) {
            failure = std::make_unique<HostError>(hostError(outOfResources(e) ? "nomem" : "internal", e.what()));
        } catch (...) {
            failure = std::make_unique<HostError>(hostError("internal", "unknown exception"));
        }
        if (failure) {
            interrupted = tbb::is_current_task_group_canceling();
            std::fill(plhs.begin(), plhs.end(), nullptr);  // the frame reclaims them
        }
    }); });
    // A call interrupted before its body began never entered it.
    if (interrupted || !entered) throw hostError("interrupted", "");
    if (failure) throw *failure;
    result.outputs = std::move(plhs);
    return result;
}

CallResult callSlot(const Module& module, size_t slot, int nlhs, const std::vector<const vxArray*>& args) {
    return call(module.slot(slot), nlhs, args);
}

CallResult callFunction(const std::string& fullName, int nlhs, const std::vector<const vxArray*>& args) {
    vxBuiltin fn = findFunction(fullName);
    if (!fn) throw hostError("undefinedFunction", fullName);
    return call(fn, nlhs, args);
}

// ---- Arrays ---------------------------------------------------------------------------------

namespace {

// Host errors raised while making an array outside a call reach the embedder as HostError.
template <class Make>
auto translated(Make make) -> decltype(make()) {
    try {
        return make();
    } catch (const foundation::core::except::IMsgIDException& e) {
        throw errorFrom(*e.GetMsgID());
    }
}

HostArray* untracked(HostArray* a) {
    CallFrame::unlink(a);
    return a;
}

HostArray* objectArray(std::vector<size_t> dims, vxClassID id, Kind kind, size_t slots, std::unique_ptr<BlockExtra> extra) {
    DataBlock* block = newBlock(slots * sizeof(vxArray*), true);
    block->extra = std::move(extra);
    return untracked(makeHandle(std::move(dims), id, kind, 0, block));
}

// A cell or struct that takes its children over from the caller.
HostArray* adopting(const std::vector<size_t>& d, vxClassID id, Kind kind, const std::vector<vxArray*>& kids,
                    std::unique_ptr<Children> extra) {
    extra->arrays = kids;
    for (vxArray* k : kids)
        if (k) CallFrame::unlink(host(k));
    HostArray* a = objectArray(d, id, kind, kids.size(), std::move(extra));
    if (!kids.empty()) std::memcpy(a->data, kids.data(), kids.size() * sizeof(vxArray*));
    return a;
}

}  // namespace

vxArray* createNumeric(const std::vector<size_t>& dims, vxClassID id, bool complex) {
    return translated([&]() -> vxArray* {
        return untracked(makeNumeric(dims, id, complex, true));
    });
}

vxArray* createStridedCopy(const std::vector<size_t>& dims, vxClassID id, bool complex, const void* data,
                           const std::vector<size_t>& strides) {
    return translated([&]() -> vxArray* {
        HostArray* a = makeNumeric(dims, id, complex, false);
        copyToColumnMajor(data, a->data, classElementBytes(id) * (complex ? 2 : 1), dims, strides);
        return untracked(a);
    });
}

vxArray* wrapNumeric(std::vector<size_t> dims, vxClassID id, bool complex, void* data,
                     void (*release)(void*), void* context) {
    return translated([&]() -> vxArray* {
        if (id != VX_LOGICAL_CLASS && id != VX_CHAR_CLASS && classFlags(id, false) == 0)
            throw std::invalid_argument("wrapNumeric takes numeric, logical or char classes");
        auto* block = new DataBlock;
        block->ptr = data;
        block->bytes = numel(dims) * classElementBytes(id) * (complex ? 2 : 1);
        block->external = true;
        block->release = release;
        block->context = context;
        return untracked(makeHandle(std::move(dims), id, Kind::Numeric, classFlags(id, complex), block));
    });
}

vxArray* createChar(const std::u16string& text) {
    return createCharArray(text.empty() ? std::vector<size_t>{0, 0} : std::vector<size_t>{1, text.size()}, text);
}

vxArray* createCharArray(const std::vector<size_t>& dims, const std::u16string& data) {
    return translated([&]() -> vxArray* {
        HostArray* a = untracked(makeNumeric(dims, VX_CHAR_CLASS, false, true));
        std::memcpy(a->data, data.data(), std::min(data.size(), numel(a->dims)) * sizeof(char16_t));
        return a;
    });
}

vxArray* createStringArray(const std::vector<size_t>& dims, const std::vector<std::optional<std::u16string>>& values) {
    return translated([&]() -> vxArray* {
        auto storage = std::make_unique<StringStorage>();
        std::vector<size_t> d = dims;
        normalizeDims(d);
        if (numel(d) != values.size()) throw std::invalid_argument("string array: values do not fill the shape");
        for (const auto& v : values) {
            storage->texts.push_back(v.value_or(std::u16string()));
            storage->missing.push_back(!v.has_value());
        }
        storage->rebuild(d);
        return objectArray(d, VX_OBJECT_CLASS, Kind::String, 0, std::move(storage));
    });
}

vxArray* createSparse(size_t m, size_t n, vxClassID id, bool complex, const std::vector<size_t>& rowIndex,
                      const std::vector<size_t>& columnStart, const void* values) {
    return translated([&]() -> vxArray* {
        if (id != VX_DOUBLE_CLASS && id != VX_LOGICAL_CLASS) throw std::invalid_argument("sparse arrays are double or logical");
        if (columnStart.size() != n + 1 || columnStart[n] != rowIndex.size())
            throw std::invalid_argument("sparse array: column starts do not match the row indices");
        for (size_t r : rowIndex)
            if (r >= m) throw std::invalid_argument("sparse array: row index out of range");
        const size_t nnz = rowIndex.size(), nzmax = std::max<size_t>(nnz, 1);
        const size_t elem = classElementBytes(id) * (complex ? 2 : 1);
        const size_t valueBytes = ((nzmax * elem + 7) / 8) * 8;
        DataBlock* block = newBlock(valueBytes + (nzmax + n + 1) * sizeof(size_t), true);
        char* base = static_cast<char*>(block->ptr);
        if (nnz) std::memcpy(base, values, nnz * elem);
        HostArray* a = untracked(makeHandle({m, n}, id, Kind::Sparse, classFlags(id, complex) | VX_FLAG_SPARSE, block));
        a->ir = reinterpret_cast<size_t*>(base + valueBytes);
        a->jc = a->ir + nzmax;
        a->nzmax = nzmax;
        std::copy(rowIndex.begin(), rowIndex.end(), a->ir);
        std::copy(columnStart.begin(), columnStart.end(), a->jc);
        return a;
    });
}

vxArray* createCell(const std::vector<size_t>& dims, const std::vector<vxArray*>& kids) {
    return translated([&]() -> vxArray* {
        std::vector<size_t> d = dims;
        normalizeDims(d);
        if (numel(d) != kids.size()) throw std::invalid_argument("cell: children do not fill the shape");
        return adopting(d, VX_CELL_CLASS, Kind::Cell, kids, std::make_unique<Children>());
    });
}

vxArray* createStruct(const std::vector<size_t>& dims, const std::vector<std::string>& fields,
                      const std::vector<vxArray*>& values) {
    return translated([&]() -> vxArray* {
        std::vector<size_t> d = dims;
        normalizeDims(d);
        size_t slots = 0;
        if (__builtin_mul_overflow(numel(d), fields.size(), &slots) || slots != values.size())
            throw std::invalid_argument("struct: values do not fill the fields");
        auto extra = std::make_unique<Children>();
        extra->fieldNames = fields;
        return adopting(d, VX_STRUCT_CLASS, Kind::Struct, values, std::move(extra));
    });
}

vxArray* createFunctionHandle(const std::string& name) {
    auto extra = std::make_unique<Children>();
    extra->functionName = name;
    return objectArray({1, 1}, VX_FUNCTION_CLASS, Kind::Function, 0, std::move(extra));
}

void destroy(vxArray* array) { matrix::detail::noninlined::vx_array_api::vxDestroyArray(array); }

std::vector<size_t> dimensions(const vxArray* a) { return host(a)->dims; }
vxClassID classOf(const vxArray* a) { return host(a)->classOf; }
bool isComplex(const vxArray* a) { return detail::isComplex(a); }
bool isSparse(const vxArray* a) { return host(a)->kind == Kind::Sparse; }

SparseView sparseView(const vxArray* a) {
    const HostArray* h = host(a);
    if (h->kind != Kind::Sparse) throw std::invalid_argument("not a sparse array");
    return {h->ir, h->jc, h->data, h->jc[h->dims[1]]};
}

std::vector<std::optional<std::u16string>> strings(const vxArray* a) {
    const HostArray* h = host(a);
    if (h->kind != Kind::String) throw std::invalid_argument("not a string array");
    const auto& s = *static_cast<const StringStorage*>(h->block->extra.get());
    std::vector<std::optional<std::u16string>> out(s.texts.size());
    for (size_t i = 0; i < out.size(); ++i)
        if (!s.missing[i]) out[i] = s.texts[i];
    return out;
}

const std::vector<vxArray*>& children(const vxArray* a) {
    const HostArray* h = host(a);
    if (h->kind != Kind::Cell && h->kind != Kind::Struct) throw std::invalid_argument("not a cell or structure");
    return static_cast<const Children*>(h->block->extra.get())->arrays;
}

const std::vector<std::string>& fieldNames(const vxArray* a) {
    const HostArray* h = host(a);
    if (h->kind != Kind::Struct) throw std::invalid_argument("not a structure");
    return static_cast<const Children*>(h->block->extra.get())->fieldNames;
}

std::string functionName(const vxArray* a) {
    const HostArray* h = host(a);
    if (h->kind != Kind::Function) throw std::invalid_argument("not a function handle");
    return static_cast<const Children*>(h->block->extra.get())->functionName;
}

bool sharesData(const vxArray* a, const vxArray* b) { return host(a)->block && host(a)->block == host(b)->block; }

bool ownsAlignedData(const vxArray* a) { return host(a)->block && !host(a)->block->external; }

void* retainData(const vxArray* a) {
    retain(host(a)->block);
    return host(a)->block;
}

void releaseData(void* token) { releaseBlock(static_cast<DataBlock*>(token)); }

}  // namespace vlhost
