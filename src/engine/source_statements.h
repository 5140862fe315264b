#pragma once
// The statements that read a source table: the SELECT of the mapped columns and the count over the
// same rows. Row loads, batch loads and text runs share the shape and differ in how the count
// begins and in which names have quotes or an owner (core/kinds). Servers' logs are searched for
// these texts, so letter case and blanks stay, too.

#include "core/kinds.h"

#include <string>
#include <vector>

namespace vantry {

using MappedColumns = std::vector<const ColMapRec*>;

// The rows of ColMaps that are loaded for the table, in their order: field k of the source's result
// belongs to row k.
MappedColumns MappedColumnsOf(i16 tab_id);

struct SourceStatements {
    std::string select;
    std::string count;
};
// How the run into the session's target reads its tables.
Reading ReadingOfRun();

SourceStatements ReadingStatements(const TableRec& source,
                                   const MappedColumns& columns,
                                   Reading reading);

// Cuts the comma behind the last piece of a list, or, where the list is empty, the sign that stands
// there instead: the data source then refuses the statement.
void CutLast(std::string& text);

}  // namespace vantry
