// Helpers the front ends share: option text, shape words, working classes, finiteness,
// density, and the bracket around parallel regions.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "common/element_type.hpp"
#include "module/exception.hpp"
#include "module/host_interface.hpp"

namespace vlmathdsp {

// The array's dimension lengths, padded with 1 to n (n at least its number of dimensions).
inline std::vector<uint64_t> paddedSizes(const vxArray* a, size_t n) {
    std::vector<uint64_t> s(n, 1);
    for (size_t d = 0; d < a->numDims; ++d) s[d] = a->get_dimensions()[d];
    return s;
}

enum ShapeKind : int { SHAPE_SAME = 0, SHAPE_FULL = 1, SHAPE_VALID = 2 };

// A counted view of 16-bit code units, borrowed from an array.
struct TextView {
    const char16_t* text;
    size_t length;
};

// The class of an array, resolved when its class field needs asking.
inline vxClassID classOf(const vxArray* a) {
    return a->classID > VX_FUNCTION_CLASS ? a->_get_class_id_non_trivial() : static_cast<vxClassID>(a->classID);
}

// From a single or double array to its element type, once, at the front end: withRealType
// passes Type<float> or Type<double>; withElementType their complex forms for complex arrays.
template <class F>
decltype(auto) withRealType(const vxArray* a, F&& f) {
    return vlcommon::withRealType(classOf(a) == VX_SINGLE_CLASS, std::forward<F>(f));
}
template <class F>
decltype(auto) withElementType(const vxArray* a, F&& f) {
    return vlcommon::withElementType(classOf(a) == VX_SINGLE_CLASS, vxIsComplexFlags(a), std::forward<F>(f));
}
// f(Type<First>{}, Type<Second>{}): the sixteen pairs.
template <class F>
decltype(auto) withElementTypes(const vxArray* first, const vxArray* second, F&& f) {
    return withElementType(first, [&](auto a) { return withElementType(second, [&](auto b) { return f(a, b); }); });
}

// Reads a text option: a char row (or 0-by-0), or a string scalar. BadOption is the family's
// identifier for anything else.
template <class BadOption>
TextView readOptionText(const vxArray* a, bool strictRowVector) {
    if (!a) raise<BadOption>();
    if (a->classID == VX_CHAR_CLASS) {
        const size_t* d = a->get_dimensions();
        if (!strictRowVector || (a->numDims == 2 && (d[0] == 1 || (d[0] == 0 && d[1] == 0))))
            return {static_cast<const char16_t*>(a->data), a->get_number_of_elements()};
    }
    if (!Veltrix::String::isString(a)) raise<BadOption>();
    const Veltrix::String::StringRecord& record = Veltrix::String::getString(a);
    if (record.dims.size() != 2 || record.dims[0] != 1 || record.dims[1] != 1) raise<BadOption>();
    const Veltrix::String::StringElement* element = record.elements[0];
    if (!element) raise<VELTRA::string::MissingNotSupported>();
    return {element->text, element->length};
}

// True when the input is a case-insensitive prefix of the keyword; the empty input matches nothing.
inline bool matchesOption(TextView input, TextView keyword) {
    if (input.length == 0) return false;
    const size_t n = input.length < keyword.length ? input.length : keyword.length;
    return fl::i18n::lcctype::compare(input.text, input.length, keyword.text, n, fl::i18n::case_insensitive()) == 0;
}

inline TextView keywordView(const char16_t* word) {
    return {word, std::char_traits<char16_t>::length(word)};
}

// The shape word: any non-empty prefix of "same", "valid" or "full", in any case, tried in that
// order; BadShape is the family's identifier for anything else.
template <class BadShape>
ShapeKind parseShapeWord(const vxArray* a) {
    const TextView text = readOptionText<BadShape>(a, true);
    if (matchesOption(text, keywordView(u"same"))) return SHAPE_SAME;
    if (matchesOption(text, keywordView(u"valid"))) return SHAPE_VALID;
    if (matchesOption(text, keywordView(u"full"))) return SHAPE_FULL;
    raise<BadShape>();
}

inline ShapeKind parseShapeOption(const vxArray* a) { return parseShapeWord<VELTRA::conv2::unknownShapeParameter>(a); }

// Brings an input to single or double, or refuses it with TypeError (two-input or separable).
template <class TypeError>
vxArray* toWorkingClass(const vxArray* a) {
    using namespace matrix::detail::noninlined::vx_array_api;
    const vxClassID id = classOf(a);
    if (a->flags & VX_FLAG_SPARSE) raise<VELTRA::conv2::SparseInput>();
    if (id == VX_DOUBLE_CLASS || id == VX_SINGLE_CLASS) return vxCreateSharedDataCopy(a);
    if (!(a->flags & VX_FLAG_NUMERIC) && id != VX_LOGICAL_CLASS) raise<TypeError>();
    return vxMustBe(a, VX_DOUBLE_CLASS);
}

bool allFinite(const vxArray* a);
float nonZeroDensity(const vxArray* a);

// Both of the above from one pass over the data (not empty).
struct ArrayFacts {
    bool finite;
    float density;
};
ArrayFacts scanFacts(const vxArray* a);

// True when a's leading elements alone show its density of non-zeros (as scanFacts gives it) to
// be at least `density`: they are all non-zero. A dense array is read only that far; false says
// nothing.
bool denseAtLeast(const vxArray* a, float density);

// Brackets a parallel region: closes it on leaving, also when the region throws. A region that
// will not run on threads need not open one (opening retunes the BLAS, twice per call).
class ComputationalThreadScope {
public:
    explicit ComputationalThreadScope(bool open = true)
        : count_(open ? services::threading::getNumComputationalThreads() : 0) {
        if (count_) ompwrapper::setNumThreads(false, count_);
    }
    ~ComputationalThreadScope() {
        if (count_) ompwrapper::setNumThreads(true, count_);
    }
    ComputationalThreadScope(const ComputationalThreadScope&) = delete;
    ComputationalThreadScope& operator=(const ComputationalThreadScope&) = delete;

private:
    size_t count_;
};

}  // namespace vlmathdsp
