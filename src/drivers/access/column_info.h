#pragma once
// What the columns of a stored table are reported as.

#include "drivers/access/catalogue/properties.h"
#include "drivers/access/catalogue/table_def.h"
#include "drivers/sql/storage.h"

#include <vector>

namespace vantry::access {

// Columns that a table shows: all but the hidden ones that keep a Memo's former versions. Positions
// in TableDef::columns.
std::vector<std::size_t> ShownColumns(const TableDef& def);

sql::StoredColumn DescribeColumn(const ColumnDef& column,
                                 const Layout& layout,
                                 const std::vector<Property>& properties);

}  // namespace vantry::access
