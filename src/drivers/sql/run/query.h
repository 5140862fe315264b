#pragma once
// A compiled query at work. Plain columns of the result are the engine's own cells, read from the
// scan that SQLite moves or from a second one by the row's id; only expressions come out of SQLite.

#include "drivers/sql/plan/compiler.h"
#include "drivers/sql/run/row_store.h"
#include "drivers/sql/run/session.h"

#include <exception>
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
    // Begins anew with these parameters.
    void Start(std::span<const Cell> parameters);
    // Lets go of the rows that are being read.
    void Stop();
    // False at the end. Throws what SQLite, a function or the engine failed with; the query is at
    // its end then.
    bool Next();
    // Valid until the next call of anything that moves.
    std::span<const Cell> Row() const { return row_; }
    // The id of the current row of a source whose id was asked for.
    RowId RowOf(std::size_t source) const;
    // Why that cell of the current row is Unreadable.
    DataError FieldError(std::size_t column) const;
    const StoredTable& TableOf(std::size_t source) const {
        return compiled_.sources[source]->Table();
    }
    const std::shared_ptr<StoredTable>& SharedTableOf(std::size_t source) const {
        return compiled_.sources[source]->SharedTable();
    }
    std::size_t SourceCount() const { return compiled_.sources.size(); }

private:
    // Where the plain columns of one source are in the current row.
    struct Shown {
        std::span<const Cell> cells;  // empty: no row, all Null (an outer join)
        RowId id = 0;
        bool standing = false;  // SQLite's scan stands at the row
        std::unique_ptr<RowFetcher> fetcher;
    };
    struct StatementCloser {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };

    void BindCell(int index, const Cell& cell);
    // SQLite's next row; TakeRow makes it the result's, FindRow finds one table's part of it.
    bool Step();
    void TakeRow();
    void FindRow(std::size_t source);
    // The same from chunks.
    bool NextKept();
    void FillChunk();
    std::optional<RowId> RowIdAt(std::size_t source) const;
    RowFetcher& FetcherOf(std::size_t source);
    // An expression's value, as its type says.
    Cell Computed(const ResultColumn& column);
    Cell Number(const ColumnInfo& info, int sql_column);
    Cell ExactNumber(const ColumnInfo& info, int sql_column);

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

    // Rows that come out sorted are taken from SQLite by the chunk, so that their plain columns can
    // be read in the table's order.
    bool by_chunks_ = false;
    RowStore chunk_;                                      // the expressions' values
    std::vector<std::vector<std::optional<RowId>>> ids_;  // of each source, of each row
    std::size_t chunk_next_ = 0;
    std::size_t chunk_rows_;
    std::exception_ptr behind_chunk_;  // what SQLite failed with after it
    bool no_more_ = false;
};

std::unique_ptr<Cursor> OpenQuery(const Select& select,
                                  std::shared_ptr<EmbeddedDatabase> database,
                                  const Dialect& dialect);

}  // namespace vantry::sql
