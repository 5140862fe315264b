// ASCII never gets here (see the header): it is the same in every page that a table can have. A
// page that is unknown is no error until a text needs it, since most columns of such a table are
// readable.
#include "drivers/foxpro/table/text_coder.h"

#include "data/data_error.h"
#include "drivers/foxpro/table/code_page_marks.h"

namespace vantry::foxpro {

TextCoder::TextCoder(int code_page, bool guess_utf8) : number_(code_page), guess_utf8_(guess_utf8) {
    if (number_ == kUtf8) {
        return;
    }
    try {
        code_page_.emplace(number_);
    } catch (const DataError&) {
        trouble_ = "its code page " + std::to_string(number_) +
                   " isn't known here; name another one by CodePage= in the connection string";
    }
}

std::optional<std::string_view> TextCoder::DecodeOther(std::string_view stored,
                                                       std::string& scratch) const {
    // Text of a Windows page is hardly ever well-formed UTF-8 by chance: two letters beyond ASCII
    // would have to follow each other in the right ranges each time.
    if (guess_utf8_ && IsValidUtf8(stored)) {
        return stored;
    }
    if (number_ == kUtf8) {
        if (IsValidUtf8(stored)) {
            return stored;
        }
        scratch.clear();
        for (std::size_t at = 0; at < stored.size();) {
            AppendUtf8(NextCodePoint(stored, at), scratch);
        }
        return scratch;
    }
    if (!code_page_) {
        return std::nullopt;
    }
    scratch.clear();
    code_page_->AppendUtf8(stored, scratch);
    return scratch;
}

std::optional<std::string_view> TextCoder::EncodeOther(std::string_view utf8,
                                                       std::string& scratch) const {
    if (number_ == kUtf8) {
        return utf8;
    }
    scratch.clear();
    if (!code_page_ || !code_page_->AppendBytes(utf8, scratch)) {
        return std::nullopt;
    }
    return scratch;
}

std::string TextCoder::FirstMissing(std::string_view utf8) const {
    std::string bytes;
    for (std::size_t at = 0; code_page_ && at < utf8.size();) {
        const std::size_t start = at;
        NextCodePoint(utf8, at);
        const auto character = utf8.substr(start, at - start);
        if (!code_page_->AppendBytes(character, bytes)) {
            return std::string(character);
        }
    }
    return {};
}

}  // namespace vantry::foxpro
