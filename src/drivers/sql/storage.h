#pragma once
// What an embedded engine brings to the SQL layer: a database of stored tables. The SQL layer
// parses, plans and filters; the engine stores, scans and keeps its own indexes. Names are compared
// by the engine in its own way.
//
// A statement is there whole or not at all: the SQL layer brackets each writing statement with
// BeginStatement() and CommitStatement() or RollbackStatement(). Scans that are open at that time
// are the engine's business only in so far as they must not crash: the SQL layer collects the rows
// of an UPDATE or DELETE before it writes.

#include "data/driver.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::sql {

// Where a row is in its table: for the engine to understand (a page and slot, a record number, an
// offset in a file). Stays valid until the row is deleted or changed.
using RowId = std::int64_t;

// A column of a stored table; what a result column of it reports.
struct StoredColumn {
    ColumnInfo info;
    bool auto_number = false;
    bool required = false;
    bool has_default = false;
    bool never_empty = false;  // takes no text without letters
    bool read_only = false;    // calculated columns and such
};

// A column of CREATE TABLE, in words; the engine knows its own type words.
struct ColumnDefinition {
    std::string name;
    std::string type;          // upper-cased words, "DOUBLE PRECISION" joined by one blank
    std::optional<int> size;   // first number in the round brackets
    std::optional<int> scale;  // second number
    bool not_null = false;
    bool null = false;  // NULL was said
    bool unique = false;
    bool primary_key = false;
    bool compressed = false;  // WITH COMPRESSION
    std::optional<std::string> default_text;
};

struct IndexDefinition {
    struct Part {
        std::string column;
        bool descending = false;
    };
    std::string name;
    std::vector<Part> parts;
    bool unique = false;
    bool primary = false;
    bool disallow_null = false;
    bool ignore_null = false;
};

struct TableDefinition {
    std::string name;
    std::vector<ColumnDefinition> columns;
    std::vector<IndexDefinition> indexes;  // of PRIMARY KEY, UNIQUE and CONSTRAINT clauses
};

// Rows of one table in storage order, one projection. Not invalidated by another scan.
class TableScan : public HalvedRows {
public:
    virtual bool Next() = 0;
    // One cell for each projected column, in the order asked for; valid until Next() or Seek().
    virtual std::span<const Cell> Row() const = 0;
    virtual RowId CurrentRow() const = 0;
    // Stands on that row instead; false if it is gone. Next() afterwards goes on behind it.
    virtual bool Seek(RowId row) = 0;
    // Why the field at `position` of the projection is Unreadable.
    virtual DataError FieldError(std::size_t position) const = 0;
};

class StoredTable {
public:
    virtual ~StoredTable() = default;
    virtual const std::string& Name() const = 0;
    virtual std::span<const StoredColumn> Columns() const = 0;
    // Column numbers in the wanted order; empty: rows without values, for counting and row ids.
    virtual std::unique_ptr<TableScan> Scan(std::span<const std::size_t> projection) = 0;
    // The exact number of rows, by the quickest way the engine has.
    virtual std::int64_t CountRows() = 0;

    // What rows must keep to; the default names the columns that are required.
    virtual TableRules Rules() const;

    // Row changes. `row` has one cell for each column of the table; Unset means default,
    // auto-number or null. The engine converts values to the column's type and refuses what doesn't
    // fit with a DataError that names table and column. The default is an engine that can't write.
    virtual void Insert(std::span<const Cell> row);
    // `columns` are the numbers of the columns to change, `values` as many cells.
    virtual void Update(RowId row,
                        std::span<const std::size_t> columns,
                        std::span<const Cell> values);
    virtual void Delete(RowId row);
    // All rows at once, where the engine has a quick way; otherwise row by row.
    virtual std::int64_t DeleteAll();

    // Column numbers by which an ascending walk is possible, and that walk: nothing when there is
    // none. Lets joins and conditions on keys avoid full scans.
    virtual std::unique_ptr<TableScan> FindEqual(std::size_t column,
                                                 const Cell& value,
                                                 std::span<const std::size_t> projection);
};

class EmbeddedDatabase {
public:
    virtual ~EmbeddedDatabase() = default;
    virtual std::vector<TableEntry> Tables() = 0;
    // Nothing if there is no table of that name (in the engine's way of comparing).
    virtual std::shared_ptr<StoredTable> OpenTable(std::string_view name) = 0;
    // The SQL text of a saved query (a view), nothing if there is none; throws if it is of a kind
    // that can't be run.
    virtual std::optional<std::string> ViewText(std::string_view name);

    virtual void CreateTable(const TableDefinition& definition);
    virtual void DropTable(std::string_view name);
    virtual void CreateIndex(std::string_view table, const IndexDefinition& index);

    virtual void BeginStatement() {}
    virtual void CommitStatement() {}
    virtual void RollbackStatement() {}
    // A single INSERT of one row, already bracketed by the engine itself: lets a bulk load batch
    // its page writes.
    virtual void InsertRow(StoredTable& table, std::span<const Cell> row);
    // Ends such a batch; throws what went wrong with it.
    virtual void Settle() {}
    // BEGIN TRANSACTION and the like: statements and rows in between are there as a whole or not at
    // all after the program or the machine has died. A row that is refused leaves those before it;
    // any other statement that fails in the middle takes all back and ends the transaction. The
    // default throws.
    virtual void BeginTransaction();
    virtual void CommitTransaction();
    virtual void RollbackTransaction();
    // Lets a batch begin with its first row.
    virtual void ExpectManyRows() {}
    // As DriverConnection has it.
    virtual std::vector<std::string> TakeRemarks() { return {}; }
};

// What the SQL layer must know of an engine's dialect.
struct Dialect {
    enum class Kind : std::uint8_t { Jet, FoxPro };
    Kind kind = Kind::Jet;
    bool text_ignores_case = true;  // how "=" and ORDER BY compare text
    std::string engine_name;        // as it stands in messages: "Microsoft Jet database engine"
};

// The connection that a driver of an embedded engine hands out: SQL over `database`.
std::unique_ptr<DriverConnection> ConnectSql(std::shared_ptr<EmbeddedDatabase> database,
                                             Dialect dialect);

}  // namespace vantry::sql
