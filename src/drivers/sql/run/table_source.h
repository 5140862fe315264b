#pragma once
// A stored table as SQLite sees it: a read-only virtual table with the columns that the statement's
// expressions look at ("c" and the column's number), and "r", the row's id. The result's plain
// columns never go through SQLite: whoever made the source reads them from the scan's row, or from
// a scan of its own by the id.

#include "drivers/sql/run/row_store.h"
#include "drivers/sql/storage.h"

#include <memory>
#include <optional>
#include <utility>
#include <vector>

struct sqlite3_context;
struct sqlite3_value;

namespace vantry::sql {

class Session;

class TableSource {
public:
    explicit TableSource(std::shared_ptr<StoredTable> table) : table_(std::move(table)) {}

    StoredTable& Table() const { return *table_; }
    const std::shared_ptr<StoredTable>& SharedTable() const { return table_; }

    // Filled while the statement is compiled: the numbers of columns that its expressions read and
    // that its result shows. Each once.
    std::vector<std::size_t> read_columns;
    std::vector<std::size_t> shown_columns;
    // SQLite's scan carries the shown columns too, in front: right as long as rows come out in the
    // order in which they are scanned.
    bool shows_directly = false;
    // SQLite gets a text of its own. Without, it may look at it only while the scan stands at the
    // row: right for conditions and for sorting, which copies, but not for groups, aggregates and
    // queries within queries.
    bool copies_text = true;

    // Makes it a table named "t<number>" of the session, which must not outlive it.
    void Register(Session& session, std::size_t number);

    // The row that SQLite's scan of the table stands at, if it stands at one; the shown columns
    // come first where they are shown directly.
    bool StandsAt(RowId row) const { return stands_ && current_id_ == row; }
    std::span<const Cell> CurrentRow() const { return current_row_; }
    // Why the cell at `position` of the current row is Unreadable.
    DataError FieldError(std::size_t position) const;

private:
    friend struct TableModule;
    // Hash of one column's value and the row: its number among the kept ones, else its id.
    using HashIndex = std::vector<std::pair<std::uint64_t, std::int64_t>>;
    // Made at the first call; the position is that in read_columns.
    const HashIndex& IndexOf(std::size_t read_position);
    // False where they take more memory than they are worth.
    bool KeepRows();
    DataError FieldErrorAt(RowId row, std::size_t position) const;

    std::shared_ptr<StoredTable> table_;
    Session* session_ = nullptr;
    std::vector<std::size_t> projection_;
    std::vector<char> exact_;  // whether each of read_columns is in the form of exact_number.h
    std::vector<std::size_t> positions_;  // of read_columns in projection_
    // For the inner tables of joins, which are looked at again and again: their rows in memory
    // where they are few, and indexes made on the way.
    std::optional<RowStore> kept_;
    bool too_large_to_keep_ = false;
    std::vector<std::optional<HashIndex>> indexes_;
    std::vector<std::size_t> lookups_;  // how often each read column was looked up by value
    std::size_t walks_ = 0;

    bool stands_ = false;
    RowId current_id_ = 0;
    std::span<const Cell> current_row_;
    const TableScan* current_scan_ = nullptr;  // null: a kept row
};

// Dates are days since 1899-12-30 with the fraction counted forward, so that they sort.
double LinearDays(const DateTime& date);
// Nothing outside the years 1 to 9999. Within two microseconds of a whole millisecond it is that.
std::optional<DateTime> FromLinearDays(double days);

// Hands a cell to SQLite; false for Unreadable.
bool SetResult(sqlite3_context* context, const Cell& cell, bool copy_text);

}  // namespace vantry::sql
