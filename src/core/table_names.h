#pragma once
// Tables and columns as they stand in a statement, by the rows of the kinds (core/kinds): the one
// place in which a name gets its quotes, its owner, or the path of its file.

#include "core/kinds.h"

#include <string>

namespace vantry {

// ---- Source, by SourceType

std::string SourceTable(const TableRec& table, Reading reading);
std::string SourceColumn(const std::string& name, Reading reading);

// ---- Target, by TargetType

// Behind "drop table " and "delete from ".
std::string TargetTable(const std::string& name);
// Behind "select * from " of a probe: never a file, the connection's folder finds it.
std::string TargetTableToProbe(const std::string& name);
// Behind "INSERT INTO ", blank included: a list of columns follows in brackets.
std::string TargetTableForInsert(const std::string& name);
// Behind "Create Table ", with the blank before the bracket where the kind has one. Whether the
// name holds a blank is the caller's to say: it may judge by another name than the one written.
std::string TargetTableToMake(const std::string& name, bool blank);
// Behind " FROM " of the SELECT through which rows are added.
std::string TargetTableToAddTo(const std::string& name);
// In a list of columns, comma included.
std::string TargetColumnInList(const std::string& name);

bool HoldsBlank(const std::string& name);
// Whether the text has anything but blanks.
bool HasText(const std::string& text);

}  // namespace vantry
