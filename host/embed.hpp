// The embedding API: what a program needs to be a host of the library. Load a module, call its
// slots and package functions with arrays, get results, errors and warnings, set threads.
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "module/host_interface.hpp"

namespace vlhost {

struct Warning {
    std::string identifier;
    std::string message;
};

/// A failed call: the identifier, its two parts, its text arguments and the catalogue text.
class HostError : public std::runtime_error {
public:
    HostError(std::string identifier, std::string component, std::string key, std::vector<std::string> arguments,
              const std::string& message);
    const std::string identifier, component, key;
    const std::vector<std::string> arguments;
};

/// The host's own error VELTRA:key, with one text argument, as a call would raise it.
HostError hostError(const std::string& key, const std::string& argument);

/// A loaded library: initialised once when loaded, kept for the life of the process.
class Module {
public:
    static Module& load(const std::string& path);
    /// The best variant (bestModuleVariant) of libvlmathdsp.so in the directory libvlhost.so was
    /// loaded from: the build's package folder, or the installed library directory.
    static Module& loadDefault();
    void initialize() const;
    void terminate() const;
    const void* tableAddress() const;
    size_t slotCount() const;
    vxBuiltin slot(size_t index) const;
    uint64_t tableWord(size_t index) const;  ///< the four words of the table record
    std::string version() const;
    std::string buildDate() const;
    std::string relativePath() const;

private:
    explicit Module(void* handle);
    void* handle_;
    void (*initialize_)();
    void (*terminate_)();
    const void* (*query_)();
};

/// The copy of the library at `path` (".../libvlmathdsp.so") built for the newest instruction set
/// this processor runs, where there is one beside it: libvlmathdsp-x86-64-v4.so (AVX-512), then
/// -x86-64-v3.so (AVX2), else `path`. VLMATHDSP_ISA=baseline, x86-64-v3 or x86-64-v4 asks for one;
/// a copy that is missing or that the processor cannot run is then VELTRA:isaUnavailable.
std::string bestModuleVariant(const std::string& path);

struct CallResult {
    std::vector<vxArray*> outputs;  ///< max(nlhs, 1) entries, null where the built-in set none
    std::vector<Warning> warnings;
};

/// Runs a built-in in a call frame on this thread, inside the host's thread arena. Outputs
/// belong to the caller; everything else the call made is reclaimed, also on failure.
CallResult call(vxBuiltin fn, int nlhs, const std::vector<const vxArray*>& args);
CallResult callSlot(const Module& module, size_t slot, int nlhs, const std::vector<const vxArray*>& args);
CallResult callFunction(const std::string& fullName, int nlhs, const std::vector<const vxArray*>& args);

/// Interruption. While a thread holds an InterruptibleCalls, its calls stop early when any thread
/// runs interruptCalls(): the tasks of their parallel loops that have not started are skipped, the
/// frame reclaims what the call made, and the call raises VELTRA:interrupted. Work outside the
/// parallel loops runs to its end first. interruptCalls() is not safe in a signal handler: wake a
/// thread of your own from there.
class InterruptibleCalls {
public:
    InterruptibleCalls();
    ~InterruptibleCalls();
    InterruptibleCalls(const InterruptibleCalls&) = delete;
    InterruptibleCalls& operator=(const InterruptibleCalls&) = delete;
};
void interruptCalls();

/// Packages.
vxBuiltin findFunction(const std::string& fullName);  ///< null when absent
size_t registrationCount(const std::string& fullName);
std::vector<std::string> packageFunctionNames();
void setVcosUsingUSM(bool answer);
void failRegistrationAfter(int successes);  ///< that many addFunction calls pass, the next throws once; -1: none

/// Limits. A larger thread count is refused; 1024 covers the largest two-socket machines.
constexpr size_t kMaxThreads = 1024;
/// Outputs a call may ask for; no built-in has more than a few.
constexpr int kMaxOutputs = 64;
/// Arrays of more dimensions are refused with VELTRA:dimensionLimit; 0, the default: no bound.
/// An embedder whose own arrays hold fewer (NumPy: 32) sets it, so such results fail before the work.
void setMaxDimensions(size_t count);
size_t maxDimensions();

/// Threads, memory and accounting.
void setNumThreads(size_t count);  ///< 1 to kMaxThreads, else VELTRA:threadCount
/// The count for the calls of this thread only, in place of the process's; 0 returns to it.
void setThreadNumThreads(size_t count);  ///< 0 to kMaxThreads, else VELTRA:threadCount
size_t numThreads();  ///< this thread's count when it has one, else the process's
size_t openParallelRegions();  ///< brackets opened by ompwrapper::setNumThreads and not yet closed
void setMallocExFailAfter(long successes);  ///< that many vxMallocEx calls pass, the rest fail; -1: none fail
long liveArrays();
long liveByteBlocks();
void clearScopeStore();  ///< drops this thread's per-scope store
std::string catalogueText(const std::string& component, const std::string& key,
                          const std::vector<std::string>& arguments = {});
bool catalogueHas(const std::string& identifier);
/// Every identifier the catalogue holds, with its text ("{0}" where an argument goes), in order.
std::vector<std::pair<std::string, std::string>> catalogueEntries();

/// Making arrays. All come out untracked: the caller destroys them.
vxArray* createNumeric(const std::vector<size_t>& dims, vxClassID id, bool complex);
/// Wraps memory owned elsewhere, 64-byte aligned or not; release(context) runs when the last
/// handle on it goes.
vxArray* wrapNumeric(std::vector<size_t> dims, vxClassID id, bool complex, void* data,
                     void (*release)(void* context), void* context);
/// A column-major copy of a strided array (strides in elements, none negative), made in parallel.
vxArray* createStridedCopy(const std::vector<size_t>& dims, vxClassID id, bool complex, const void* data,
                           const std::vector<size_t>& strides);
vxArray* createChar(const std::u16string& text);  ///< 1-by-n, 0-by-0 when empty
vxArray* createCharArray(const std::vector<size_t>& dims, const std::u16string& data);
vxArray* createStringArray(const std::vector<size_t>& dims, const std::vector<std::optional<std::u16string>>& values);
vxArray* createSparse(size_t m, size_t n, vxClassID id, bool complex, const std::vector<size_t>& rowIndex,
                      const std::vector<size_t>& columnStart, const void* values);
vxArray* createCell(const std::vector<size_t>& dims, const std::vector<vxArray*>& children);  ///< takes them
vxArray* createStruct(const std::vector<size_t>& dims, const std::vector<std::string>& fields,
                      const std::vector<vxArray*>& values);  ///< takes them; field-major per element
vxArray* createFunctionHandle(const std::string& name);
void destroy(vxArray* array);

/// Reading arrays.
std::vector<size_t> dimensions(const vxArray* array);
vxClassID classOf(const vxArray* array);
bool isComplex(const vxArray* array);
bool isSparse(const vxArray* array);
struct SparseView {
    const size_t* rowIndex;
    const size_t* columnStart;
    const void* values;
    size_t nonZeros;
};
SparseView sparseView(const vxArray* array);
std::vector<std::optional<std::u16string>> strings(const vxArray* array);
const std::vector<vxArray*>& children(const vxArray* array);
const std::vector<std::string>& fieldNames(const vxArray* array);
std::string functionName(const vxArray* array);
bool sharesData(const vxArray* a, const vxArray* b);
bool ownsAlignedData(const vxArray* array);  ///< data made by the host, not wrapped

/// A reference on an array's data that outlives the handle (for zero-copy hand-over).
void* retainData(const vxArray* array);
void releaseData(void* token);

}  ///< namespace vlhost
