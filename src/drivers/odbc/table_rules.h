#pragma once
// What a table behind a driver asks of its rows, by the driver manager's catalogue calls: columns
// that take no null, the primary key, unique indexes.

#include "data/driver.h"
#include "drivers/odbc/link.h"

#include <memory>
#include <string_view>

namespace vantry::odbc {

// `table`: as it stands in a statement, with or without its schema and quotes. Empty of a table
// that isn't found, or is in several schemas of which none is the login's usual one. Throws
// DataError.
TableRules ReadTableRules(const std::shared_ptr<Link>& link, std::string_view table);

}  // namespace vantry::odbc
