#pragma once
// The definitions of the tables that every database file has, and of those that .accdb files have
// for columns with several values. As found in files of the engine's own making.

#include "drivers/access/catalogue/table_def.h"

#include <vector>

namespace vantry::access {

struct SystemTable {
    TableDef def;  // without pages and maps
    std::uint32_t object_flags = 0;
};

// MSysObjects, MSysACEs, MSysQueries, MSysRelationships: pages 2 to 5.
std::vector<SystemTable> SystemTables(SortOrder sort_order);
// MSysComplexColumns and the templates of the value types.
std::vector<SystemTable> ComplexTypeTables(SortOrder sort_order);

}  // namespace vantry::access
