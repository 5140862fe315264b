#pragma once
// Letters, digits and blanks of ASCII: what keywords, numbers and file formats are made of,
// whatever the locale. Letters of all languages are the business of letter_case.h. In the header
// because the row path asks for single characters.

#include <algorithm>
#include <string>
#include <string_view>

namespace vantry {

inline constexpr bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

inline constexpr int DigitOf(char c) {
    return c - '0';
}

inline constexpr char LowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

inline constexpr char UpperCase(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
}

inline constexpr bool IsLetter(char c) {
    return LowerCase(c) >= 'a' && LowerCase(c) <= 'z';
}

// 0 to 15, or -1 for what is no hexadecimal digit.
inline constexpr int HexValue(char c) {
    return IsDigit(c)                                   ? DigitOf(c)
           : LowerCase(c) >= 'a' && LowerCase(c) <= 'f' ? LowerCase(c) - 'a' + 10
                                                        : -1;
}

inline constexpr bool EqualsNoCase(std::string_view left, std::string_view right) {
    return left.size() == right.size() &&
           std::equal(left.begin(), left.end(), right.begin(), [](char a, char b) {
               return LowerCase(a) == LowerCase(b);
           });
}

inline constexpr bool StartsWithNoCase(std::string_view text, std::string_view start) {
    return EqualsNoCase(text.substr(0, start.size()), start);
}

inline constexpr bool EndsWithNoCase(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && EqualsNoCase(text.substr(text.size() - end.size()), end);
}

inline constexpr bool ContainsNoCase(std::string_view text, std::string_view word) {
    return word.empty() ||
           std::search(text.begin(), text.end(), word.begin(), word.end(), [](char a, char b) {
               return LowerCase(a) == LowerCase(b);
           }) != text.end();
}

inline std::string LowerAscii(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), LowerCase);
    return text;
}

// Without the characters `Blanks` at both ends.
template <char... Blanks>
constexpr std::string_view Without(std::string_view text) {
    while (!text.empty() && ((text.front() == Blanks) || ...)) {
        text.remove_prefix(1);
    }
    while (!text.empty() && ((text.back() == Blanks) || ...)) {
        text.remove_suffix(1);
    }
    return text;
}

// The three of them differ in what a blank is: of names and values, where a tab counts as a
// character; of numbers and dates; and of settings and statements, which may run over lines.
inline constexpr std::string_view Trimmed(std::string_view text) {
    return Without<' '>(text);
}
inline constexpr std::string_view TrimBlanks(std::string_view text) {
    return Without<' ', '\t'>(text);
}
inline constexpr std::string_view TrimSpace(std::string_view text) {
    return Without<' ', '\t', '\r', '\n'>(text);
}

}  // namespace vantry
