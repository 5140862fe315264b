#pragma once
// Makes a target table by one "Create Table" statement in the target's dialect. A table that is new
// is built from the target side of the column map; one that was just dropped is rebuilt from the
// source side, and the row loaders name its columns accordingly. Names, types and sizes only: no
// keys, no rules.

#include "core/session_state.h"

#include <string>

namespace vantry {

// -1 on success; 0 on failure, which is logged.
i16 CreateTargetTable(i16 i);

// The statement itself. Each column stands behind a single carriage return.
std::string CreateTableStatement(i16 i);

// The type of a column as the statement has it, size included: of a new table, or of one that is
// made anew. Other words than the map's stand in for some types, a blank before them.
std::string CreatedColumnType(const ColMapRec& row, bool is_new);

// What follows the type name of row `j` of ColMaps: "(width)", "(width,scale)" or nothing. `mode`
// is "N" for a new table, "O" for a rebuilt one.
std::string ColumnSizeSuffix(i16 j, const std::string& mode);

}  // namespace vantry
