#pragma once
// The type words of CREATE TABLE, with the engine's synonyms.

#include "drivers/access/catalogue/table_def.h"
#include "drivers/sql/storage.h"

#include <cstdint>

namespace vantry::access {

struct NewColumn {
    ColumnDef def;                  // type, flags, length, precision and scale; no places yet
    std::uint32_t last_number = 0;  // AutoNumber: the one before the first
};

// Throws DataError, naming the column, for words and sizes that the engine doesn't know. `header`
// is the file's: those of later versions have further types.
NewColumn ColumnFromWords(const sql::ColumnDefinition& definition, const FileHeader& header);

}  // namespace vantry::access
