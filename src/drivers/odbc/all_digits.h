#pragma once
// Statements for SQLite's ODBC driver. It reads every value as text (version 0.9998 has no other
// way), and SQLite writes fifteen digits of a double: 0.1 + 0.2 comes as 0.3, and the largest
// double as one that there isn't. Asking for a C double changes nothing, the driver makes it of
// that text. So SQLite itself is asked for more digits.

#include "drivers/odbc/types.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vantry::odbc {

// The statement `sql`, which has these columns, with all digits of its floating values; nothing if
// no column can hold one, or the statement begins neither with SELECT nor with WITH. Order and
// number of columns are the same, their names aren't.
std::optional<std::string> WithAllDigits(std::string_view sql, std::span<const Column> columns);

}  // namespace vantry::odbc
