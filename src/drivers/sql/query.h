#pragma once
// A compiled query at work. Plain columns of the result are the engine's own cells, read from the
// scan that SQLite moves or from a second one by the row's id; only expressions come out of SQLite.

#include "drivers/sql/compiler.h"
#include "drivers/sql/session.h"

#include <memory>
#include <span>
#include <vector>

namespace vantry::sql {

class Query {
public:
    // Throws DataError when SQLite refuses the statement.
    Query(CompiledQuery compiled,
          std::shared_ptr<EmbeddedDatabase> database,
          const Dialect& dialect);

    std::span<const ColumnInfo> Columns() const { return infos_; }
    std::size_t ParameterCount() const { return compiled_.parameter_count; }
    // Begins anew with these parameters.
    void Start(std::span<const Cell> parameters);
    // Lets go of the rows that are being read.
    void Stop();
    bool Next();
    std::span<const Cell> Row() const { return row_; }
    RowId RowOf(std::size_t source) const;
    DataError FieldError(std::size_t column) const;
    const StoredTable& TableOf(std::size_t source) const {
        return compiled_.sources[source]->Table();
    }
    const std::shared_ptr<StoredTable>& SharedTableOf(std::size_t source) const {
        return compiled_.sources[source]->SharedTable();
    }
    std::size_t SourceCount() const { return compiled_.sources.size(); }

private:
    // Where the plain columns of one source stand in the current row.
    struct Shown {
        std::unique_ptr<TableScan> by_id;
        std::span<const Cell> cells;  // empty: no row, all Null (an outer join)
        const TableScan* standing = nullptr;
    };
    struct StatementCloser {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };

    void BindCell(int index, const Cell& cell);
    void FindRow(std::size_t source);
    Cell Computed(const ResultColumn& column);
    Cell Number(const ColumnInfo& info, int sql_column);

    std::shared_ptr<EmbeddedDatabase> database_;
    CompiledQuery compiled_;
    Session session_;
    std::unique_ptr<sqlite3_stmt, StatementCloser> statement_;
    std::vector<ColumnInfo> infos_;
    std::vector<Shown> shown_;
    std::vector<std::size_t> positions_;  // of plain columns among their source's shown ones
    std::vector<Cell> cells_;
    bool passes_through_ = false;  // the scan's row is the result's row
    std::span<const Cell> row_;
    bool at_end_ = true;
};

std::unique_ptr<Cursor> OpenQuery(const Select& select,
                                  std::shared_ptr<EmbeddedDatabase> database,
                                  const Dialect& dialect);

}  // namespace vantry::sql
