#pragma once
// The byte of a table's header that names its code page.

#include <cstdint>
#include <optional>
#include <string_view>

namespace vantry::foxpro {

// The number of the code page; nothing for 0 and for marks that nobody knows.
std::optional<int> CodePageOfMark(std::uint8_t mark);
// The mark that Visual FoxPro writes for a code page; nothing if it has none.
std::optional<std::uint8_t> MarkOfCodePage(int code_page);
// What stands in a connection string or a .cpg file: "1251", "CP1251", "ANSI 1251", "UTF-8".
std::optional<int> CodePageOfName(std::string_view name);

inline constexpr int kUtf8 = 65001;

}  // namespace vantry::foxpro
