// The host's array record and its data blocks. Internal to the host.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "host/recycled.hpp"
#include "module/host_interface.hpp"

namespace vlhost::detail {

struct CallFrame;

// What a block owns besides its bytes: strings, children of cells and structures, names.
struct BlockExtra {
    virtual ~BlockExtra() = default;
};

// Reference-counted storage shared by the handles of one array's data.
struct DataBlock : Recycled<DataBlock> {
    std::atomic<size_t> refs{1};
    void* ptr = nullptr;
    size_t bytes = 0;
    bool external = false;                 // the embedder's memory, not the host's
    void (*release)(void* context) = nullptr;  // an external block's owner, told when it goes
    void* context = nullptr;
    std::unique_ptr<BlockExtra> extra;
};

// Kinds of arrays beyond the numeric classes.
enum class Kind : uint8_t { Numeric, Sparse, Cell, Struct, String, Function };

struct HostArray final : vxArray_tag, Recycled<HostArray> {
    HostArray();
    ~HostArray();

    std::vector<size_t> dims;
    vxClassID classOf = VX_DOUBLE_CLASS;  // the resolved class, also for class fields above 16
    Kind kind = Kind::Numeric;
    DataBlock* block = nullptr;
    // Sparse: row indices and column starts inside the block, and the capacity.
    size_t* ir = nullptr;
    size_t* jc = nullptr;
    size_t nzmax = 0;
    // Membership in the call frame that made it.
    CallFrame* frame = nullptr;
    HostArray* prev = nullptr;
    HostArray* next = nullptr;
};

inline HostArray* host(vxArray* a) { return static_cast<HostArray*>(a); }
inline const HostArray* host(const vxArray* a) { return static_cast<const HostArray*>(a); }

// Storage of the string class.
struct StringStorage : BlockExtra {
    std::vector<std::u16string> texts;
    std::vector<bool> missing;
    std::vector<Veltrix::String::StringElement> elements;
    Veltrix::String::StringRecord record;
    void rebuild(const std::vector<size_t>& dims);
};

// Children of a cell or a structure, owned by the block.
struct Children : BlockExtra {
    std::vector<vxArray*> arrays;
    std::vector<std::string> fieldNames;  // structures only
    std::string functionName;             // function handles only
    ~Children() override;
};

bool isComplex(const vxArray* a);
size_t numel(const std::vector<size_t>& dims);
size_t classElementBytes(vxClassID id);
uint32_t classFlags(vxClassID id, bool complex);
void normalizeDims(std::vector<size_t>& dims);
// Refuses a shape whose byte size, counting only the sides that are not zero, is above
// PTRDIFF_MAX, or that has more dimensions than the embedder allows. Returns the element count.
size_t checkedShape(const std::vector<size_t>& dims, size_t elementBytes);

// Host-managed bytes, 64-byte aligned. Tracked by the current call frame when one is open.
void* allocateBytes(size_t bytes, bool zero, bool tracked);
void freeBytes(void* ptr);
// memcpy, on the host's threads for large blocks.
void copyBytes(void* dst, const void* src, size_t bytes);
size_t allocatedBytes(void* ptr);
void untrackBytes(void* ptr);
void markArrayData(void* ptr, bool isArrayData);

DataBlock* newBlock(size_t bytes, bool zero);
void retain(DataBlock* block);
void releaseBlock(DataBlock* block);

// Creates a handle of a numeric, logical or char class; registers it with the call frame.
HostArray* makeNumeric(std::vector<size_t> dims, vxClassID id, bool complex, bool zero);
HostArray* makeHandle(std::vector<size_t> dims, vxClassID id, Kind kind, uint32_t flags, DataBlock* block);
// Gives an array its own copy of its data if the block is shared.
void makeUnique(HostArray* a);

// Copies the elements of a strided array of `dims` (strides in elements, from src) into
// column-major order at dst: tiles where the layouts cross, in parallel on the host's threads.
void copyToColumnMajor(const void* src, void* dst, size_t elementBytes, const std::vector<size_t>& dims,
                       const std::vector<size_t>& strides);

}  // namespace vlhost::detail
