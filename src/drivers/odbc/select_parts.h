#pragma once
// The pieces of "SELECT columns FROM table", as they are written: with the quotes of whatever
// dialect it is.

#include <optional>
#include <string_view>
#include <vector>

namespace vantry::odbc {

struct SelectParts {
    std::vector<std::string_view> columns;
    std::string_view table;
};

// Nothing if the text isn't of that form. Quotes are [..], "..", `..` and '..'.
std::optional<SelectParts> SplitSelect(std::string_view sql);

}  // namespace vantry::odbc
