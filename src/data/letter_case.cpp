// Each character by itself and whatever the locale: names are compared by these, and a name must
// mean the same on every machine. So "ß" stays one letter, and Turkish has no dotted capital. Most
// names are ASCII, which needs no table.

#include "data/letter_case.h"

#include "data/utf.h"

#include <unicode/uchar.h>

namespace vantry {
namespace {

template <typename AsciiChange, typename WideChange>
std::string Changed(std::string_view text, AsciiChange ascii, WideChange wide) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        const char c = text[position];
        if (static_cast<unsigned char>(c) < 0x80) {
            out += ascii(c);
            ++position;
        } else {
            const auto code_point = static_cast<UChar32>(NextCodePoint(text, position));
            AppendUtf8(static_cast<char32_t>(wide(code_point)), out);
        }
    }
    return out;
}

}  // namespace

std::string UpperCased(std::string_view utf8) {
    return Changed(utf8, UpperCase, u_toupper);
}

std::string LowerCased(std::string_view utf8) {
    return Changed(utf8, LowerCase, u_tolower);
}

char32_t FoldedCase(char32_t code_point) {
    if (code_point < 0x80) {
        return static_cast<unsigned char>(LowerCase(static_cast<char>(code_point)));
    }
    return static_cast<char32_t>(u_foldCase(static_cast<UChar32>(code_point), U_FOLD_CASE_DEFAULT));
}

bool SameName(std::string_view left, std::string_view right) {
    return UpperCased(Trimmed(left)) == UpperCased(Trimmed(right));
}

}  // namespace vantry
