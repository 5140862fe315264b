#pragma once
// Text of a table in its code page, and back. What the page can't hold is told, never replaced.

#include "data/code_page.h"
#include "data/utf.h"
#include "files/checked_bytes.h"

#include <optional>
#include <string>
#include <string_view>

namespace vantry::foxpro {

class TextCoder {
public:
    // `guess_utf8`: the table names no code page; text that is well-formed UTF-8 is taken for that.
    // A code page that this machine doesn't know fails when it is needed.
    TextCoder(int code_page, bool guess_utf8);

    int CodePageNumber() const { return number_; }
    // Why there is no such code page; empty if there is.
    const std::string& Trouble() const { return trouble_; }

    // The text as UTF-8: a view of `stored` where that is what it holds, otherwise of `scratch`.
    // Nothing if there is trouble.
    std::optional<std::string_view> Decode(std::string_view stored, std::string& scratch) const {
        return IsAscii(stored) ? stored : DecodeOther(stored, scratch);
    }
    // The text in the code page, likewise. Nothing if a character isn't in it, or there is trouble.
    std::optional<std::string_view> Encode(std::string_view utf8, std::string& scratch) const {
        return IsAscii(utf8) ? utf8 : EncodeOther(utf8, scratch);
    }
    // The first character that the code page doesn't have, for messages.
    std::string FirstMissing(std::string_view utf8) const;

private:
    std::optional<std::string_view> DecodeOther(std::string_view stored,
                                                std::string& scratch) const;
    std::optional<std::string_view> EncodeOther(std::string_view utf8, std::string& scratch) const;

    int number_;
    bool guess_utf8_;
    std::optional<CodePage> code_page_;
    std::string trouble_;
};

inline std::string_view AsText(file::ByteSpan bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace vantry::foxpro
