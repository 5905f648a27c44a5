// Everything the library needs from its host: array records and operations, memory, errors,
// text, thread counts, packages and the per-scope store. The only host header the library sees.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <typeinfo>
#include <variant>
#include <vector>

// Host operations keep default visibility even in a library built with hidden symbols.
#pragma GCC visibility push(default)

enum vxClassID : int32_t {
    VX_UNKNOWN_CLASS = 0,
    VX_CELL_CLASS = 1,
    VX_STRUCT_CLASS = 2,
    VX_LOGICAL_CLASS = 3,
    VX_CHAR_CLASS = 4,
    VX_VOID_CLASS = 5,
    VX_DOUBLE_CLASS = 6,
    VX_SINGLE_CLASS = 7,
    VX_INT8_CLASS = 8,
    VX_UINT8_CLASS = 9,
    VX_INT16_CLASS = 10,
    VX_UINT16_CLASS = 11,
    VX_INT32_CLASS = 12,
    VX_UINT32_CLASS = 13,
    VX_INT64_CLASS = 14,
    VX_UINT64_CLASS = 15,
    VX_FUNCTION_CLASS = 16,
    VX_OBJECT_CLASS = 17,  ///< classes of the class system, the string class among them
};

enum vxComplexity : int { vxREAL = 0, vxCOMPLEX = 1 };

/// Flag bits of the array record.
constexpr uint32_t VX_FLAG_SPARSE = 0x10;
constexpr uint32_t VX_FLAG_NUMERIC = 0x80;
constexpr uint32_t VX_FLAG_COMPLEX = 0x880;  ///< both bits set means complex

/// The array record. The four leading fields are read directly; the rest belongs to the host.
struct vxArray_tag {
    int32_t classID;   ///< above 16: ask _get_class_id_non_trivial
    uint64_t numDims;  ///< at least 2
    uint32_t flags;
    void* data;

    const size_t* get_dimensions() const;
    size_t get_number_of_elements() const;
    vxClassID _get_class_id_non_trivial() const;

protected:
    vxArray_tag() = default;
    ~vxArray_tag() = default;
};
using vxArray = vxArray_tag;
using vxBuiltin = void (*)(int nlhs, vxArray** plhs, int nrhs, const vxArray** prhs);

inline bool vxIsComplexFlags(const vxArray* a) { return (a->flags & VX_FLAG_COMPLEX) == VX_FLAG_COMPLEX; }
inline bool vxIsSparseFlags(const vxArray* a) { return (a->flags & VX_FLAG_SPARSE) != 0; }
inline bool vxIsNumericFlags(const vxArray* a) { return (a->flags & VX_FLAG_NUMERIC) != 0; }

namespace matrix::detail::noninlined::vx_array_api {
// Reading.
size_t vxGetN(const vxArray*);
size_t vxGetElementSize(const vxArray*);
double vxGetScalar(const vxArray*);
bool vxIsEmpty(const vxArray*);
bool vxIsScalar(const vxArray*);
bool vxIsVector(const vxArray*);
bool vxIsVector2D(const vxArray*);
bool vxIsFiniteNumericArray(const vxArray*);
size_t vxCheckIndex(double);
// Creating and destroying.
vxArray* vxCreateNumericMatrix(size_t m, size_t n, vxClassID, vxComplexity);
vxArray* vxCreateNumericArray(size_t ndim, const size_t* dims, vxClassID, vxComplexity);
vxArray* vxCreateUninitNumericMatrix(size_t m, size_t n, vxClassID, int complexity);
vxArray* vxCreateUninitNumericArray(size_t ndim, size_t* dims, vxClassID, vxComplexity);
vxArray* vxCreateUninitNumericArray(size_t ndim, size_t* dims, vxClassID, vxComplexity, int count,
                                    const vxArray** models);
vxArray* vxCreateDoubleMatrix(size_t m, size_t n, vxComplexity);
vxArray* vxCreateString(const char*);
vxArray* vxCreateSharedDataCopy(const vxArray*);
vxArray* vxCreateDeepCopy(const vxArray*);
void vxDestroyArray(vxArray*);
// Changing.
vxArray* vxMustBe(const vxArray*, vxClassID);
vxArray* vxMustBeComplex(int count, vxArray** const arrays);
vxArray* vxMustBeFullDouble(const vxArray*);
void vxFreeImagIfZero(vxArray*);
void vxDeflateComplexToReal(vxArray*);
void vxSetM(vxArray*, size_t);
void vxSetN(vxArray*, size_t);
void vxSetData(vxArray*, void*);
int vxSetDimensions(vxArray*, const size_t*, size_t);
void vxPermuteFcn(int nlhs, vxArray** plhs, int nrhs, vxArray** prhs);
// Memory: the plain pair is reclaimed with the call; the Ex pair returns null on exhaustion.
void* vxMalloc(size_t);
void* vxCalloc(size_t, size_t);
void* vxRealloc(void*, size_t);
void vxFree(void*);
void* vxMallocEx(size_t);
void vxFreeEx(void*);
}  // namespace matrix::detail::noninlined::vx_array_api

namespace resource_core {
// A message argument: nothing, narrow text or wide text.
using MessageArgument = std::variant<const void*, std::string, std::u16string>;

struct BaseMsgID {
    std::vector<MessageArgument> arguments;
    std::string component;
    std::string key;
};
}  // namespace resource_core

namespace foundation::core::except {
class IException {
public:
    virtual ~IException();
    virtual const char* what() const noexcept;

protected:
    mutable std::string whatText_;
};

class IUserException : public IException {
public:
    virtual std::u16string convert_str(const std::string&) const;
    virtual std::string convert_str(const std::u16string&) const;
    virtual std::u16string ToUstringImpl() const;
};

class IMsgIDException : public IUserException {
public:
    const char* what() const noexcept override;
    std::u16string ToUstringImpl() const override;
    virtual std::string GetErrorIdentifier() const = 0;
    virtual std::u16string GetUnicodeMessageTxt() const;
    virtual const resource_core::BaseMsgID* GetMsgID() const = 0;
    static std::string get_error_id(const resource_core::BaseMsgID&);
};

// The host's out-of-memory failure: bad_alloc() makes it, legacy() throws it.
struct OutOfMemory {};
OutOfMemory bad_alloc();
namespace detail {
[[noreturn]] void legacy(const OutOfMemory&);
}
}  // namespace foundation::core::except

namespace matrix::detail {
[[noreturn]] void error_maxlhs();
[[noreturn]] void error_maxrhs();
[[noreturn]] void error_minrhs();
void do_legacy_vx_error(const foundation::core::except::IUserException&);
}  // namespace matrix::detail

void vxWarningMsgId(const resource_core::BaseMsgID&);

namespace Veltrix::String {
struct StringElement {
    const char16_t* text;
    size_t length;
};
// Element pointers, null for a missing string, and the dimensions.
struct StringRecord {
    std::vector<const StringElement*> elements;
    std::vector<size_t> dims;
};
bool isString(const vxArray*);
const StringRecord& getString(const vxArray*);
bool isScalarText(const vxArray*, bool allowEmptyChar, bool allowMissing);
bool getScalarText(const vxArray*, std::u16string& out, bool allowMissing);
}  // namespace Veltrix::String

namespace fl::i18n {
struct case_insensitive {};
struct codecvt_ustring_to_ascii {};
namespace lcctype {
int compare(const char16_t*, size_t, const char16_t*, size_t, const case_insensitive&);
}
template <class To, class From, class Codecvt = codecvt_ustring_to_ascii>
struct converter;
template <>
struct converter<char, char16_t, codecvt_ustring_to_ascii> {
    static std::string convert(const char16_t*, size_t);
};
}  // namespace fl::i18n

namespace services::threading {
size_t getNumComputationalThreads();
}
namespace ompwrapper {
void setNumThreads(bool leaving, size_t count);
}

size_t mathcoreGetDimArg(const vxArray*);
size_t mathcoreFindFirstNonSingleton(size_t ndims, const size_t* dims);
void vfMatrixMult(vxArray* a, vxArray* b, vxArray* c);

bool omGetVcosUsingUSM();
namespace vcos {
class COSNameID {
public:
    explicit COSNameID(const char*);
    ~COSNameID();
    const std::string& name() const { return name_; }

private:
    std::string name_;
};
class COSPackage {
public:
    void addFunction(const COSNameID&, void (*)(int, vxArray**, int, const vxArray**));

protected:
    COSPackage() = default;
    ~COSPackage() = default;
};
COSPackage* omGetGlobalPackage(const char*);
COSPackage* omGetSubPackage(COSPackage*, const char*);
}  // namespace vcos

namespace foundation::usm {
namespace scope {
struct Vvm {};
}
using Cell = std::unique_ptr<void, void (*)(void*)>;
template <class Scope>
struct Detail {
    static size_t getNextID(const std::type_info&);
    static Cell* find(size_t, const std::type_info&);
    static Cell* findOrInsert(size_t, const std::type_info&, Cell&&);
};
template <>
size_t Detail<scope::Vvm>::getNextID(const std::type_info&);
template <>
Cell* Detail<scope::Vvm>::find(size_t, const std::type_info&);
template <>
Cell* Detail<scope::Vvm>::findOrInsert(size_t, const std::type_info&, Cell&&);
}  // namespace foundation::usm

#pragma GCC visibility pop
