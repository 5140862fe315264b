#pragma once
// The statements of a run before there is one: what will be sent for each table of the session in
// memory, letter by letter, by the same routines that send it. For a look (the runner's --dry-run,
// the mapping page's "Show statements"); nothing is executed here but, where asked for, a probe.

#include "core/session_state.h"

#include <span>
#include <string>
#include <vector>

namespace vantry {

struct RunStatement {
    enum class Use : std::uint8_t {
        Drop,
        Delete,
        Create,  // its columns stand behind carriage returns
        Count,
        Select,
        Insert,   // the head; the rows' values follow it
        AddRows,  // the SELECT through which rows with long columns are added
        File      // no statement: the text file that is written
    };
    Use use;
    std::string text;
};

struct TableStatements {
    std::string source;
    std::string target;
    std::vector<RunStatement> statements;  // in the order in which they go out
    std::string fault;  // why the run will leave the table out; empty when it won't
};

// How the rows of a table go into a database.
enum class RowWay : std::uint8_t {
    Unknown,  // both ways are in the list
    Insert,   // by statements
    AddRows,  // by a recordset, since a column is long or binary
};

// Asks the source for the types of the table's columns, without reading a row. Throws DataError.
RowWay RowWayOf(i16 i);

// The types of the source's mapped columns, of which it is asked in the same way.
std::vector<int> SourceTypesOf(i16 i);

TableStatements StatementsOf(i16 i, RowWay way = RowWay::Unknown);

// "drop", "delete", "create", "count", "select", "insert", "add rows", "file".
const char* UseName(RunStatement::Use use);

// As a script to read and to copy: "-- Orders into Orders", then each statement under a line with
// its name, lines parted by "\n".
std::string StatementsText(const TableStatements& table);

}  // namespace vantry
