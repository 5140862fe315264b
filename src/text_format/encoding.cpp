// A file tells its character set in one of four ways, the surest first: a byte order mark, the word
// in Schema.ini, the machine's locale, and its bytes. Files that are called UTF-8 are often old
// ones in a Windows code page: bytes that are no UTF-8 are read in the page of the locale's
// language, one by one, rather than refused. Easy to get wrong: rows are split before they are
// decoded, so a set in which the bytes of ASCII mean other things, or may be second bytes, needs
// another way of splitting (SplitForm), and UTF-16 is decoded first.

#include "text_format/encoding.h"

#include "data/connection_string.h"
#include "data/data_error.h"
#include "text_format/errors.h"
#include "text_format/schema_ini.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace vantry::text {
namespace {

constexpr int kUtf8Page = 65001;
constexpr int kUtf16LePage = 1200;
constexpr int kUtf16BePage = 1201;
constexpr int kOemPage = 437;
constexpr int kAsciiPage = 20127;
constexpr int kShiftJisPage = 932;

bool IsTwoBytePage(int page) {
    constexpr std::array<int, 5> kPages = {936, 949, 950, 20936, 54936};
    return page == kShiftJisPage || std::find(kPages.begin(), kPages.end(), page) != kPages.end();
}

std::optional<int> PageNumber(std::string_view character_set) {
    const std::string_view word = TrimBlanks(character_set);
    if (word.empty() || EqualsNoCase(word, "ANSI")) {
        const int page = LocaleCodePage();
        return page == kAsciiPage ? kUtf8Page : page;
    }
    if (EqualsNoCase(word, "OEM")) {
        return kOemPage;
    }
    if (EqualsNoCase(word, "Unicode")) {
        return kUtf16LePage;
    }
    int page = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), page);
    if (error != std::errc() || end != word.data() + word.size()) {
        return std::nullopt;
    }
    return page == kAsciiPage ? kUtf8Page : page;
}

// Rows can be found in a set only if the bytes of ASCII mean themselves in it.
bool IsBuiltOnAscii(const CodePage& page) {
    std::string ascii = "\t\r\n";
    for (char c = ' '; c < '\x7F'; ++c) {
        ascii += c;
    }
    std::string decoded;
    page.AppendUtf8(ascii, decoded);
    return decoded == ascii || page.Number() == kShiftJisPage;  // there "\" may stand for the yen
}

// Bytes of the well-formed character at the beginning of `text`; 0 if there is none.
std::size_t Utf8Length(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    return text.size() >= length && IsValidUtf8(text.substr(0, length)) ? length : 0;
}

}  // namespace

TextEncoding TextEncoding::Choose(std::string_view character_set,
                                  std::string_view head,
                                  const std::string& path) {
    using namespace std::string_view_literals;
    TextEncoding encoding;
    // Before UTF-16, whose mark is the beginning of this one.
    if (head.starts_with("\xFF\xFE\0\0"sv) || head.starts_with("\0\0\xFE\xFF"sv)) {
        throw WideText(path);
    }
    int page = 0;
    if (head.starts_with("\xEF\xBB\xBF"sv)) {
        page = kUtf8Page;
        encoding.mark_bytes_ = 3;
    } else if (head.starts_with("\xFF\xFE"sv) || head.starts_with("\xFE\xFF"sv)) {
        page = head[0] == '\xFF' ? kUtf16LePage : kUtf16BePage;
        encoding.mark_bytes_ = 2;
    } else {
        const auto number = PageNumber(character_set);
        if (!number) {
            throw UnknownCharacterSet(path, character_set);
        }
        page = *number;
    }
    if (page == kUtf16LePage || page == kUtf16BePage) {
        encoding.form_ = page == kUtf16LePage ? Form::Utf16Le : Form::Utf16Be;
        return encoding;
    }
    encoding.form_ = page == kUtf8Page ? Form::Utf8 : Form::CodePage;
    try {
        // UTF-8 has a page beside it, too: for the stray bytes of files that only call themselves
        // so.
        encoding.page_ =
            std::make_shared<const CodePage>(page == kUtf8Page ? WindowsCodePageOfLocale() : page);
    } catch (const DataError&) {
        throw UnknownCharacterSet(path, character_set);
    }
    if (encoding.form_ == Form::CodePage && !IsBuiltOnAscii(*encoding.page_)) {
        throw UnknownCharacterSet(path, character_set);
    }
    return encoding;
}

// Such a delimiter ("§", "¦") in a file that calls itself UTF-8 shows that it isn't.
void TextEncoding::SettleBy(std::string_view delimiter, std::string_view head) {
    if (form_ != Form::Utf8 || mark_bytes_ > 0 || IsAscii(delimiter) ||
        head.find(delimiter) != std::string_view::npos) {
        return;
    }
    std::string bytes;
    const bool there = page_->AppendBytes(delimiter, bytes) && head.find(bytes) != head.npos;
    // The last character of `head` may be cut.
    const std::string_view whole = head.substr(0, head.find_last_of("\r\n") + 1);
    if (there && !IsValidUtf8(whole)) {
        form_ = Form::CodePage;
    }
}

ByteForm TextEncoding::SplitForm() const {
    if (form_ != Form::CodePage) {
        return ByteForm::Utf8;
    }
    if (page_->Number() == kShiftJisPage) {
        return ByteForm::ShiftJis;
    }
    return IsTwoBytePage(page_->Number()) ? ByteForm::DoubleByte : ByteForm::SingleByte;
}

// A delimiter that the set lacks can't stand in the file: as UTF-8 it is simply never found.
std::string TextEncoding::SplitToken(std::string_view utf8) const {
    std::string token;
    if (form_ != Form::CodePage || !page_->AppendBytes(utf8, token)) {
        token = utf8;
    }
    return token;
}

void TextEncoding::AppendUtf8(std::string_view bytes, std::string& out) const {
    if (IsUtf16()) {
        out += bytes;
        return;
    }
    if (form_ == Form::CodePage) {
        page_->AppendUtf8(bytes, out);
        return;
    }
    if (IsValidUtf8(bytes)) {
        out += bytes;
        return;
    }
    if (IsTwoBytePage(page_->Number())) {
        page_->AppendUtf8(bytes, out);  // there one byte alone means nothing
        return;
    }
    // Character by character: what is well-formed stays, the stray bytes between are of the page.
    while (!bytes.empty()) {
        const std::size_t length = Utf8Length(bytes);
        if (length > 0) {
            out += bytes.substr(0, length);
        } else {
            page_->AppendUtf8(bytes.substr(0, 1), out);
        }
        bytes.remove_prefix(std::max<std::size_t>(length, 1));
    }
}

bool TextEncoding::IsUtf8Already(std::string_view bytes) const {
    return form_ == Form::Utf8 ? IsValidUtf8(bytes) : IsUtf16() || IsAscii(bytes);
}

void TextEncoding::AppendUtf8FromUnits(std::string_view bytes, std::string& out) const {
    std::u16string units;
    units.reserve(bytes.size() / 2 + 1);
    for (std::size_t k = 0; k + 1 < bytes.size(); k += 2) {
        const auto first = static_cast<unsigned char>(bytes[k]);
        const auto second = static_cast<unsigned char>(bytes[k + 1]);
        units += static_cast<char16_t>(form_ == Form::Utf16Le ? first | second << 8
                                                              : second | first << 8);
    }
    // A file that ends in half a character shows it, rather than losing it.
    if (bytes.size() % 2 != 0) {
        units += u'\xFFFD';
    }
    AppendUtf8FromUtf16(units, out);
}

bool TextEncoding::AppendFileBytes(std::string_view utf8, std::string& out) const {
    if (form_ == Form::Utf8) {
        out += utf8;
        return true;
    }
    if (form_ == Form::CodePage) {
        return page_->AppendBytes(utf8, out);
    }
    for (const char16_t unit : Utf16FromUtf8(utf8)) {
        const char low = static_cast<char>(unit & 0xFF);
        const char high = static_cast<char>(unit >> 8);
        out += form_ == Form::Utf16Le ? low : high;
        out += form_ == Form::Utf16Le ? high : low;
    }
    return true;
}

}  // namespace vantry::text
