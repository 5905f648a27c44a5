// Arrays from fuzz bytes.
#include "tests/fuzz/libfuzzer/decode.hpp"

#include <limits>
#include <type_traits>

namespace vlfuzz {

namespace {

template <class T>
void fill(void* data, size_t count, int how, Reader& in) {
    T* out = static_cast<T*>(data);
    const double constant = how == 2 ? in.bits() : 0;
    for (size_t i = 0; i < count; ++i) {
        const double v = how == 0 ? double(int8_t(in.byte())) : how == 1 ? in.bits() : constant;
        if constexpr (std::is_integral_v<T>) {
            // Integers from whatever double: saturated, NaN as 0, as the host converts.
            using L = std::numeric_limits<T>;
            out[i] = v != v ? T(0) : v <= double(L::lowest()) ? L::lowest() : v >= double(L::max()) ? L::max() : T(v);
        } else {
            out[i] = T(v);
        }
    }
}

vxArray* readArray(Reader& in) {
    const uint8_t kind = in.byte();
    const size_t which = (kind & 15) % (kClassCount + 1);
    std::vector<size_t> dims(2 + in.byte() % 3);
    size_t count = 1;
    for (size_t& d : dims) {
        d = in.byte();
        count *= d;
        if (count > kMaxElements) return nullptr;
    }
    if (which == kClassCount) {  // strings: a length byte, then the characters
        std::vector<std::optional<std::u16string>> texts(count);
        for (auto& text : texts) {
            text.emplace(in.byte(), u' ');
            for (char16_t& c : *text) c = char16_t(in.byte());
        }
        return vlhost::createStringArray(dims, texts);
    }
    const vxClassID id = kClasses[which];
    const bool complex = (kind & 16) && id != VX_LOGICAL_CLASS && id != VX_CHAR_CLASS;
    if (id == VX_CHAR_CLASS) {
        std::u16string text(count, u' ');
        for (char16_t& c : text) c = char16_t(in.byte());
        return vlhost::createCharArray(dims, text);
    }
    vxArray* a = vlhost::createNumeric(dims, id, complex);
    const int how = in.byte() % 3;
    const size_t values = complex ? 2 * count : count;
    switch (id) {
        case VX_DOUBLE_CLASS: fill<double>(a->data, values, how, in); break;
        case VX_SINGLE_CLASS: fill<float>(a->data, values, how, in); break;
        case VX_INT8_CLASS: fill<int8_t>(a->data, values, how, in); break;
        case VX_UINT8_CLASS: fill<uint8_t>(a->data, values, how, in); break;
        case VX_INT16_CLASS: fill<int16_t>(a->data, values, how, in); break;
        case VX_UINT16_CLASS: fill<uint16_t>(a->data, values, how, in); break;
        case VX_INT32_CLASS: fill<int32_t>(a->data, values, how, in); break;
        case VX_UINT32_CLASS: fill<uint32_t>(a->data, values, how, in); break;
        case VX_INT64_CLASS: fill<int64_t>(a->data, values, how, in); break;
        case VX_UINT64_CLASS: fill<uint64_t>(a->data, values, how, in); break;
        default:  // logical: 0 or 1
            fill<uint8_t>(a->data, values, how, in);
            for (size_t i = 0; i < values; ++i) static_cast<uint8_t*>(a->data)[i] &= 1;
    }
    return a;
}

}  // namespace

std::vector<vxArray*> readArrays(Reader& in) {
    std::vector<vxArray*> arrays;
    const size_t count = in.byte() % 16;
    for (size_t k = 0; k < count; ++k) {
        vxArray* a = readArray(in);
        if (!a) {
            for (vxArray* made : arrays) vlhost::destroy(made);
            return {};
        }
        arrays.push_back(a);
    }
    return arrays;
}

}  // namespace vlfuzz
