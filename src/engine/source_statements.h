#pragma once
// The statements that read a source table: the SELECT of the mapped columns and the count over the
// same rows. Their shape is one; in four points the three readers quote or qualify a name in their
// own way, each proven against what its users have, and a ReadingStyle says which.

#include "core/session_state.h"

#include <string>
#include <string_view>
#include <vector>

namespace vantry {

using MappedColumns = std::vector<const ColMapRec*>;

// The rows of ColMaps that are loaded for the table, in their order: field k of the source's result
// belongs to row k.
MappedColumns MappedColumnsOf(i16 tab_id);

struct ReadingStyle {
    std::string_view count_head;
    bool odbc_columns_bracketed;  // [column] rather than column
    bool oracle_owner_always;     // owner.table also where the owner is blank
    bool mysql_owner;             // owner.`table` rather than `table`
    // The SQL Server table is written [owner].[table] when this member isn't blank.
    std::string TableRec::*mssql_owner_sign;
};

inline constexpr ReadingStyle kGenericReading{
    "Select count(*) ", true, false, true, &TableRec::Owner};
inline constexpr ReadingStyle kMySQLReading{
    "Select Count(*) ", false, true, true, &TableRec::OnlyTabname};
inline constexpr ReadingStyle kTextReading{
    " Select count(*) ", false, false, false, &TableRec::Owner};

struct SourceStatements {
    std::string select;
    std::string count;
};
SourceStatements ReadingStatements(const TableRec& source,
                                   const MappedColumns& columns,
                                   const ReadingStyle& style);

// Whether the text has anything but blanks.
bool HasText(const std::string& text);
// Cuts the comma behind the last piece of a list; whatever stands there instead, if the list is
// empty: the data source then refuses the statement.
void CutLast(std::string& text);

}  // namespace vantry
