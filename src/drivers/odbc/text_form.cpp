#include "drivers/odbc/text_form.h"

#include "data/code_page.h"

namespace vantry::odbc {

std::string_view AsUtf8(std::string_view bytes, std::string& scratch) {
    if (IsValidUtf8(bytes)) {
        return bytes;
    }
    scratch.clear();
    // What is no UTF-8 comes from drivers that keep to a Windows code page: the locale says which.
    thread_local const CodePage code_page(WindowsCodePageOfLocale());
    code_page.AppendUtf8(bytes, scratch);
    return scratch;
}

}  // namespace vantry::odbc
