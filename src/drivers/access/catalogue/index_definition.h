#pragma once
// Indexes in words as they are asked for, and as a table's definition keeps them.

#include "drivers/access/catalogue/table_def.h"
#include "drivers/sql/storage.h"

#include <vector>

namespace vantry::access {

// Adds an index to the definition, without pages. Throws DataError for unknown columns, columns
// that can't be keys, names in use, and limits.
void AddIndex(TableDef& def, const sql::IndexDefinition& index);

// All indexes that a table's definition asks for: of columns and of constraints.
std::vector<sql::IndexDefinition> IndexesOf(const sql::TableDefinition& definition);

// Throws DataError for a name that the engine doesn't allow. `what` is "a table" or such.
void CheckName(std::string_view what, std::string_view name);

}  // namespace vantry::access
