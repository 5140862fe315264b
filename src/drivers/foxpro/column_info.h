#pragma once
// What a field reports as a column.

#include "drivers/foxpro/table/table_layout.h"
#include "drivers/foxpro/table/text_coder.h"
#include "drivers/sql/storage.h"

namespace vantry::foxpro {

// Names of fields are in the table's code page.
sql::StoredColumn DescribeColumn(const Field& field,
                                 const TableLayout& layout,
                                 const TextCoder& coder);

}  // namespace vantry::foxpro
