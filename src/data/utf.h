#pragma once
// UTF-8 as the program's text, UTF-16 and the single-byte Windows code pages as the files' and
// drivers'.

#include <cstdint>
#include <memory>
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

// A character set by Windows code page number, over the platform's iconv. Not thread-safe.
class CodePage {
public:
    // Throws DataError if the platform doesn't know the code page.
    explicit CodePage(int number);
    ~CodePage();
    CodePage(CodePage&&) noexcept;
    CodePage& operator=(CodePage&&) noexcept;
    int Number() const { return number_; }
    // Single-byte sets go by a table; undefined bytes become the code point of the same number.
    void AppendUtf8(std::string_view bytes, std::string& out) const;
    // False if a character isn't in the set ("?" is put in its place).
    bool AppendBytes(std::string_view utf8, std::string& out) const;

private:
    struct Tables;
    int number_;
    std::shared_ptr<const Tables> tables_;
};

// The code page of the locale's character set: 65001 on today's desktops.
int LocaleCodePage();
// The Windows code page that goes with the locale's language: 1252 unless the language says
// otherwise.
int WindowsCodePageOfLocale();

}  // namespace vantry
