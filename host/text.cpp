// Text services: the string class, text scalars, case-insensitive comparison, narrowing.
#include "host/array.hpp"

namespace Veltrix::String {

using vlhost::detail::host;
using vlhost::detail::Kind;
using vlhost::detail::StringStorage;

bool isString(const vxArray* a) { return a && host(a)->kind == Kind::String; }

const StringRecord& getString(const vxArray* a) {
    return static_cast<const StringStorage*>(host(a)->block->extra.get())->record;
}

namespace {
bool isCharRow(const vxArray* a, bool anyShape) {
    const auto* h = host(a);
    if (h->classOf != VX_CHAR_CLASS || h->kind != Kind::Numeric) return false;
    if (anyShape) return true;
    return h->dims.size() == 2 && (h->dims[0] == 1 || (h->dims[0] == 0 && h->dims[1] == 0));
}
}  // namespace

bool isScalarText(const vxArray* a, bool anyCharShape, bool allowMissing) {
    if (!a) return false;
    if (isCharRow(a, anyCharShape)) return true;
    if (!isString(a)) return false;
    const StringRecord& r = getString(a);
    return r.elements.size() == 1 && (allowMissing || r.elements[0] != nullptr);
}

bool getScalarText(const vxArray* a, std::u16string& out, bool allowMissing) {
    if (!isScalarText(a, false, allowMissing)) return false;
    if (isString(a)) {
        const StringElement* e = getString(a).elements[0];
        out = e ? std::u16string(e->text, e->length) : std::u16string();
    } else {
        out.assign(static_cast<const char16_t*>(a->data), a->get_number_of_elements());
    }
    return true;
}

}  // namespace Veltrix::String

namespace fl::i18n {

namespace {
char16_t foldCase(char16_t c) {
    if (c >= u'A' && c <= u'Z') return static_cast<char16_t>(c + 32);
    if ((c >= 0xC0 && c <= 0xDE && c != 0xD7)) return static_cast<char16_t>(c + 32);  // Latin-1 capitals
    return c;
}
}  // namespace

int lcctype::compare(const char16_t* a, size_t na, const char16_t* b, size_t nb, const case_insensitive&) {
    const size_t n = na < nb ? na : nb;
    for (size_t i = 0; i < n; ++i) {
        const char16_t x = foldCase(a[i]), y = foldCase(b[i]);
        if (x != y) return x < y ? -1 : 1;
    }
    return na == nb ? 0 : (na < nb ? -1 : 1);
}

std::string converter<char, char16_t, codecvt_ustring_to_ascii>::convert(const char16_t* text, size_t n) {
    std::string out(n, '?');
    for (size_t i = 0; i < n; ++i)
        if (text[i] < 128) out[i] = static_cast<char>(text[i]);
    return out;
}

}  // namespace fl::i18n
