#pragma once
// What mdbtools says of a file: an independent reader's view of its tables and rows.

#include "data/value.h"
#include "drivers/access/catalogue/table_def.h"

#include <optional>
#include <string>
#include <vector>

namespace vantry::test {

bool HasMdbtools();

// User tables, sorted.
std::vector<std::string> MdbTableNames(const std::string& path);

// Fields as mdbtools prints them; nothing for null. The first row has the names of the columns,
// which come in the order of their numbers.
using MdbRow = std::vector<std::optional<std::string>>;
std::vector<MdbRow> MdbRows(const std::string& path, const std::string& table);

// Whether mdbtools reads values of this column rightly at all. It doesn't undo the wrapper of
// calculated values, prints the key instead of the values of a complex column, ends short binary
// ones at a 0 byte, takes GUIDs for those, and doesn't know extended dates and large numbers.
bool MdbKnows(const access::ColumnDef& column);

// Whether a cell says what mdbtools printed. Dates before 1900 are taken for equal: it prints
// those as of another century.
bool SameAsMdb(const Cell& cell,
               const access::ColumnDef& column,
               const std::optional<std::string>& printed);

}  // namespace vantry::test
