#pragma once
// Text of files and servers in a character set that has a Windows code page number, to UTF-8 and
// back. Sets of one or two bytes a character go by tables that are made once a process; they are
// what every text field of a file passes through. All others (GB18030, EUC-JP, UTF-16) go by the
// Unicode library, character by character.

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vantry {

struct CodePageTables;
class CodePageConverter;

// Two threads may use one at the same time; with the library they take turns.
class CodePage {
public:
    // Throws DataError if there is no such code page.
    explicit CodePage(int number);
    ~CodePage();
    CodePage(CodePage&&) noexcept;
    CodePage& operator=(CodePage&&) noexcept;
    int Number() const { return number_; }

    // The forgiving pair: what has no equal becomes U+FFFD in the text, and "?" in the bytes, of
    // which AppendBytes tells by false.
    void AppendUtf8(std::string_view bytes, std::string& out) const;
    bool AppendBytes(std::string_view utf8, std::string& out) const;

    // The strict pair: nothing is put in place of another thing. Returns where the first character
    // stands in the input that has no equal; nothing if all has. What is before it was appended.
    // A byte that a single-byte set leaves open is no error: below A0 it is the control character
    // of that number, from A0 on the private-use character U+F700 + byte; both come back as it.
    std::optional<std::size_t> AppendUtf8Strictly(std::string_view bytes, std::string& out) const;
    std::optional<std::size_t> AppendBytesStrictly(std::string_view utf8, std::string& out) const;

private:
    std::size_t Decode(std::string_view bytes, std::string& out) const;
    std::size_t Encode(std::string_view utf8, std::string& out) const;

    int number_;
    // One of them, or none for UTF-8.
    std::shared_ptr<const CodePageTables> tables_;
    std::unique_ptr<CodePageConverter> converter_;
};

// The code page of the locale's character set: 65001 on today's desktops.
int LocaleCodePage();
// The Windows code page that goes with the locale's language: 1252 unless the language says
// otherwise.
int WindowsCodePageOfLocale();

}  // namespace vantry
