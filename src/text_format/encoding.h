#pragma once
// In which character set a text file is, and how its bytes become UTF-8. A byte order mark decides
// before anything that is written elsewhere.

#include "data/code_page.h"
#include "data/utf.h"
#include "text_format/row_splitter.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vantry::text {

class TextEncoding {
public:
    enum class Form : std::uint8_t {
        Utf8,  // with stray bytes of a Windows code page, if need be
        Utf16Le,
        Utf16Be,
        CodePage,
    };

    // `character_set` is "ANSI", "OEM", "Unicode", the number of a code page, or empty for ANSI;
    // `head` are the first bytes of the file. Throws DataError, naming `path`, if the word means
    // nothing or a set that isn't built on ASCII, and for UTF-32.
    static TextEncoding Choose(std::string_view character_set,
                               std::string_view head,
                               const std::string& path);

    // A delimiter that isn't ASCII and that `head` has as a stray byte alone, never as UTF-8, tells
    // that the whole file is in the Windows code page.
    void SettleBy(std::string_view delimiter, std::string_view head);

    Form Kind() const { return form_; }
    std::size_t MarkBytes() const { return mark_bytes_; }  // of the byte order mark
    bool IsUtf16() const { return form_ == Form::Utf16Le || form_ == Form::Utf16Be; }

    // How rows are split: UTF-16 is split after it has become UTF-8.
    ByteForm SplitForm() const;
    // A character of a setting (delimiter, qualifier) as it stands in what is split.
    std::string SplitToken(std::string_view utf8) const;

    // Appends the text that `bytes` of a field mean.
    void AppendUtf8(std::string_view bytes, std::string& out) const;
    // Whether `bytes` already are what AppendUtf8 would append.
    bool IsUtf8Already(std::string_view bytes) const;
    // Appends UTF-16 units as they stand in a file of this form; an odd byte at the end becomes
    // U+FFFD.
    void AppendUtf8FromUnits(std::string_view bytes, std::string& out) const;
    // The bytes for `utf8` in the file; false if a character isn't in the set.
    bool AppendFileBytes(std::string_view utf8, std::string& out) const;

private:
    Form form_ = Form::Utf8;
    std::size_t mark_bytes_ = 0;
    std::shared_ptr<const CodePage> page_;  // of CodePage; of Utf8 the one for stray bytes
};

}  // namespace vantry::text
