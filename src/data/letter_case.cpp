#include "data/letter_case.h"

#include "data/utf.h"

#include <clocale>
#include <cwctype>

namespace vantry {
namespace {

locale_t UnicodeLocale() {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
}

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
            const char32_t code_point = NextCodePoint(text, position);
            const auto changed = UnicodeLocale() == nullptr
                                     ? static_cast<wint_t>(code_point)
                                     : wide(static_cast<wint_t>(code_point), UnicodeLocale());
            AppendUtf8(static_cast<char32_t>(changed), out);
        }
    }
    return out;
}

}  // namespace

std::string UpperCased(std::string_view utf8) {
    return Changed(
        utf8,
        [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; },
        towupper_l);
}

std::string LowerCased(std::string_view utf8) {
    return Changed(
        utf8,
        [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; },
        towlower_l);
}

std::string_view Trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

bool SameName(std::string_view left, std::string_view right) {
    return UpperCased(Trimmed(left)) == UpperCased(Trimmed(right));
}

}  // namespace vantry
