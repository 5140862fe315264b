#pragma once
// Text on its way to and from the driver manager's calls: UTF-16 in the wide ones, and in the
// narrow ones UTF-8, or what an ANSI driver takes for text.

#include "data/utf.h"
#include "drivers/odbc/handles.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace vantry::odbc {

// The bytes themselves when they are UTF-8, else what they mean in the Windows code page of the
// locale, put into `scratch`.
std::string_view AsUtf8(std::string_view bytes, std::string& scratch);

inline std::string TextOfUnits(const SQLCHAR* units, std::size_t count) {
    std::string scratch;
    return std::string(AsUtf8({reinterpret_cast<const char*>(units), count}, scratch));
}
inline std::string TextOfUnits(const SQLWCHAR* units, std::size_t count) {
    return Utf8FromUtf16({reinterpret_cast<const char16_t*>(units), count});
}

// A text as an argument of a wide and of a narrow call. Neither call writes to it, whatever its
// signature says.
class CallText {
public:
    CallText(std::string_view text, bool wide) : narrow_(text) {
        if (wide) {
            wide_ = Utf16FromUtf8(text);
        }
    }
    SQLWCHAR* Wide() const {
        return reinterpret_cast<SQLWCHAR*>(const_cast<char16_t*>(wide_.data()));
    }
    SQLCHAR* Narrow() const {
        return reinterpret_cast<SQLCHAR*>(const_cast<char*>(narrow_.data()));
    }
    // In units of the call's form.
    template <typename Length>
    Length Count(bool wide) const {
        return static_cast<Length>(wide ? wide_.size() : narrow_.size());
    }

private:
    std::string_view narrow_;
    std::u16string wide_;
};

}  // namespace vantry::odbc
