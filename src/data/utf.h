#pragma once
// UTF-8 as the program's text, and UTF-16 as that of files and drivers. By hand, because every text
// of every row passes here: eight bytes at a time as long as they are ASCII.

#include <cstdint>
#include <string>
#include <string_view>

namespace vantry {

// Whether all bytes are below 0x80; looks at eight bytes at a time.
bool IsAscii(std::string_view text);
bool IsValidUtf8(std::string_view text);

// Appends; ill-formed input becomes U+FFFD.
void AppendUtf8FromUtf16(std::u16string_view units, std::string& out);
void AppendUtf16FromUtf8(std::string_view text, std::u16string& out);
std::string Utf8FromUtf16(std::u16string_view units);
std::u16string Utf16FromUtf8(std::string_view text);
void AppendUtf8(char32_t code_point, std::string& out);
// Decodes the code point at `position` and moves behind it; U+FFFD and one byte for an ill-formed
// one.
char32_t NextCodePoint(std::string_view text, std::size_t& position);
std::size_t CountCodePoints(std::string_view text);
std::size_t CountUtf16Units(std::string_view text);
// The longest prefix of at most `units` UTF-16 units, never splitting a character.
std::string_view PrefixOfUtf16Units(std::string_view text, std::size_t units);

}  // namespace vantry
