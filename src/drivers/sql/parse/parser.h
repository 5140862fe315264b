#pragma once
// Reads one statement of the Jet or FoxPro dialect.

#include "drivers/sql/parse/syntax.h"

#include <string_view>

namespace vantry::sql {

// Throws DataError naming the clause and the spot. A trailing ";" is allowed.
ParsedStatement ParseStatement(std::string_view sql, Dialect::Kind dialect);

}  // namespace vantry::sql
