#pragma once
// The words that CREATE TABLE takes for a field's type, and the field that each makes.

#include "drivers/foxpro/table/table_layout.h"
#include "drivers/sql/storage.h"

#include <string_view>

namespace vantry::foxpro {

// The field without its name and place. Throws DataError naming table and field for a type, a width
// or decimals that no field has. `null_by_default`: a column that says neither NULL nor NOT NULL
// takes NULL.
Field FieldFor(const sql::ColumnDefinition& column, bool null_by_default, std::string_view table);

}  // namespace vantry::foxpro
