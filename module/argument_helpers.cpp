// Shape words, finiteness and density.
#include "module/argument_helpers.hpp"

#include <complex>

namespace vlmathdsp {

ShapeKind parseShapeOption(const vxArray* a) {
    const TextView text = readOptionText<VELTRA::conv2::unknownShapeParameter>(a, true);
    if (matchesOption(text, keywordView(u"same"))) return SHAPE_SAME;
    if (matchesOption(text, keywordView(u"valid"))) return SHAPE_VALID;
    if (matchesOption(text, keywordView(u"full"))) return SHAPE_FULL;
    raise<VELTRA::conv2::unknownShapeParameter>();
}

namespace {

// Exponent bits all ones: Inf or NaN.
inline bool notFinite(float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    return (bits & 0x7fffffffu) >= 0x7f800000u;
}

inline bool notFinite(double v) {
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    return (static_cast<uint32_t>(bits >> 32) & 0x7fffffffu) >= 0x7ff00000u;
}

template <class T>
bool finiteRun(const T* p, size_t count) {
    for (size_t i = 0; i < count; ++i)
        if (notFinite(p[i])) return false;
    return true;
}

template <class T>
size_t nonZeros(const T* p, size_t count, bool complex) {
    size_t n = 0;
    if (complex) {
        for (size_t i = 0; i < count; ++i) n += (p[2 * i] != T(0) || p[2 * i + 1] != T(0));
    } else {
        for (size_t i = 0; i < count; ++i) n += (p[i] != T(0));  // NaN counts as non-zero
    }
    return n;
}

}  // namespace

bool allFinite(const vxArray* a) {
    const size_t count = a->get_number_of_elements() * (vxIsComplexFlags(a) ? 2 : 1);
    if (classOf(a) == VX_SINGLE_CLASS) return finiteRun(static_cast<const float*>(a->data), count);
    return finiteRun(static_cast<const double*>(a->data), count);
}

float nonZeroDensity(const vxArray* a) {
    const size_t count = a->get_number_of_elements();
    const bool complex = vxIsComplexFlags(a);
    const size_t n = classOf(a) == VX_SINGLE_CLASS ? nonZeros(static_cast<const float*>(a->data), count, complex)
                                                   : nonZeros(static_cast<const double*>(a->data), count, complex);
    return static_cast<float>(n) / static_cast<float>(count);
}

}  // namespace vlmathdsp
