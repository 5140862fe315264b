#pragma once
// Turns a parsed statement into SQLite's SQL over virtual tables "t0", "t1", ... Names are looked
// up, types worked out and conversions written out here, so that nothing is left to SQLite's own
// idea of names, types and literals.

#include "drivers/sql/parse/syntax.h"
#include "drivers/sql/run/table_source.h"

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vantry::sql {

struct FunctionEntry;

// Where the values of a result column come from.
struct ResultColumn {
    ColumnInfo info;
    std::optional<std::size_t> source;  // a plain column of that table source ...
    std::size_t stored_column = 0;      // ... and its number there
    int sql_column = 0;                 // otherwise: the column of SQLite's result
};

// What SQLite is given, and how its rows become the result's.
struct CompiledQuery {
    std::string sql;
    std::vector<std::unique_ptr<TableSource>> sources;
    std::vector<ResultColumn> columns;
    // For each source the column of SQLite's result that holds the row's id; -1 if none, because
    // none of its columns are shown, or SQLite's scan stands at the row.
    std::vector<int> row_id_columns;
    // The functions that the session must have.
    std::set<const FunctionEntry*> functions;
    std::size_t parameter_count = 0;
};

// Rows of an UPDATE or DELETE: the id of the changed table's row, and the new values.
struct ChangeTarget {
    std::size_t source = 0;
    std::vector<std::size_t> columns;  // UPDATE: to which the result's columns go
};

// Each throws DataError for what the statement names wrongly or asks in vain. The query refers to
// the database's tables, which it holds open, and to nothing of the parsed statement.
CompiledQuery CompileSelect(const Select& select,
                            EmbeddedDatabase& database,
                            const Dialect& dialect);
CompiledQuery CompileUpdate(const Update& update,
                            EmbeddedDatabase& database,
                            const Dialect& dialect,
                            ChangeTarget& target);
CompiledQuery CompileDelete(const Delete& erase,
                            EmbeddedDatabase& database,
                            const Dialect& dialect,
                            ChangeTarget& target);
// One row of values without any table.
CompiledQuery CompileValues(const std::vector<ExpressionPtr>& values,
                            EmbeddedDatabase& database,
                            const Dialect& dialect);

}  // namespace vantry::sql
