#pragma once
// What stands behind the data-access objects. A driver is one implementation of Driver; the
// connection string alone picks it (core/driver_registry.h). All calls on one connection come from
// one thread; two connections are independent of each other. Every failure is a DataError in the
// data source's own words, raised by the call that caused it and never later.

#include "data/ado_types.h"
#include "data/connection_string.h"
#include "data/data_error.h"
#include "data/value.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

struct ColumnInfo {
    std::string name;
    int type = adEmpty;             // a code of ado_types.h
    std::int64_t defined_size = 0;  // characters, bytes, or the size of the structure, by type
    int precision = kDoesNotApply;
    int scale = kDoesNotApply;
};

struct TableEntry {
    std::string name;
    std::string type;  // "TABLE", "VIEW", "SYSTEM TABLE", "ACCESS TABLE", "LINK", ...
};

// Keys that are more than their columns: an expression, a condition, rows that no SELECT shows.
class StoredKeys {
public:
    virtual ~StoredKeys() = default;
    // Of a row to be added, one cell a part, Unset where it is left out. Nothing: it has no key.
    virtual std::optional<std::string> KeyOf(std::span<const Cell> parts) = 0;
    // Each key that is taken. Throws DataError.
    virtual void ForEach(const std::function<void(std::string_view key)>& found) = 0;
};

// What a table asks of its rows beside their types.
struct TableRules {
    enum class Letters : std::uint8_t {
        Usual,  // as the kind of database does where nobody asked for more
        Exact,
        AnyCase,
        AnyCaseAndAccents
    };
    enum class Nulls : std::uint8_t {
        TakeOut,       // a key with a null repeats nothing
        TakeOutIfAll,  // only one of nothing but nulls
        Count          // as any value
    };
    struct Part {
        std::string column;
        std::int64_t letters = 0;  // so many of its first ones count; 0: all
        Letters compared = Letters::Usual;
        bool blanks_count = false;  // those behind a text
    };
    struct Unique {
        std::string name;
        std::vector<Part> parts;
        Nulls nulls = Nulls::TakeOut;
        std::shared_ptr<StoredKeys> keys = nullptr;  // null: the parts' values are the key
    };
    std::vector<std::string> required;     // columns that take no null
    std::vector<std::string> needed;       // of them, those that must not be left out either
    std::vector<std::string> never_empty;  // texts
    std::vector<Unique> unique;
    // By column: the type as the server itself calls it, where its driver shows another one.
    std::map<std::string, std::string, std::less<>> server_types;
    // By column: the moments that it holds, where they are fewer than its type's; both ends count.
    struct Moments {
        DateTime first;
        DateTime last;
    };
    std::map<std::string, Moments, std::less<>> moments;
    std::string unknown;  // why keys may be missing here; empty: none is
};

struct ParameterInfo {
    int type = adEmpty;
    std::int64_t size = 0;
    int precision = 0;
    int scale = 0;
};

// Rows that can be read in two halves at once, each by a reader of its own that has a connection
// and a thread of its own. Both stand on the first row when they are asked; from then on they read
// without threads of their own.
class HalvedRows {
public:
    virtual ~HalvedRows() = default;
    // A place that about half of the rows lie before, by the storage alone: two readers that find
    // the same one have the same rows before them. 0: they are too few, or can't be parted.
    virtual std::int64_t Middle() { return 0; }
    // The rows end before that place.
    virtual void EndAt(std::int64_t /*middle*/) {}
    // The next row is the first one from that place on.
    virtual void GoOnAt(std::int64_t /*middle*/) {}
    // Of a reader that was ended and has no more rows: whether no row goes beyond the place.
    // Otherwise the other half began within a row, and both are good for nothing.
    virtual bool EndedWithRow() const { return true; }
};

// The rows of a result, read forward once, in memory that doesn't grow with their number.
class Cursor : public HalvedRows {
public:
    virtual std::span<const ColumnInfo> Columns() const = 0;
    // Moves to the first row, then to each further one; false behind the last. A failure leaves the
    // cursor without a row for good: each further call throws.
    virtual bool Next() = 0;
    // The current row, one cell a column, valid until Next() or the cursor's end. A field that the
    // source couldn't make a value of is Unreadable: the row's other fields and the rows after it
    // are good.
    virtual std::span<const Cell> Row() const = 0;
    // Why field `column` of the current row is Unreadable.
    virtual DataError FieldError(std::size_t column) const;
};

// What became of rows: nothing for those that the data source has.
using RowOutcomes = std::vector<std::optional<DataError>>;

// A prepared statement with positional parameters.
class Statement {
public:
    virtual ~Statement() = default;
    // One value a parameter, none of them Unset or Unreadable. Returns the count of rows affected.
    // When it returns, the values are used up and the row is the data source's to keep.
    virtual std::int64_t Execute(std::span<const Cell> values) = 0;

    // ---- Rows that travel together, where the data source says truly what became of each

    // So many rows may be kept back at most; 1: each goes by Execute.
    virtual std::size_t MostKept() const { return 1; }
    enum class Keeping : std::uint8_t {
        Kept,  // a copy of the row
        Full,  // not the row: it finds room only when those that are kept are sent
        Alone  // not the row: it has to go by Execute, behind those that are kept
    };
    virtual Keeping Keep(std::span<const Cell> values);
    // Sends the rows that are kept, in their order; none is kept afterwards. One outcome a row, of
    // which an error is what Execute would have thrown. Each row is stored or not by itself.
    virtual void SendKept(RowOutcomes& outcomes);
};

// Adds rows to the columns of a SELECT.
class Appender {
public:
    virtual ~Appender() = default;
    virtual std::span<const ColumnInfo> Columns() const = 0;
    // One cell a column, in the order of Columns(). Unset means: the column's default. Bytes for a
    // text column are its text in UTF-8: long texts travel like that.
    virtual void Append(std::span<const Cell> row) = 0;
};

class DriverConnection {
public:
    virtual ~DriverConnection() = default;
    // Runs a statement that gives rows.
    virtual std::unique_ptr<Cursor> OpenCursor(std::string_view sql) = 0;
    // Runs a statement that gives none; returns the count of rows affected, -1 where it isn't
    // known.
    virtual std::int64_t Execute(std::string_view sql) = 0;
    // Sends an INSERT and returns; its answer is FinishExecute's, which comes before any other
    // call. False where that can't be done with this driver or statement: nothing was sent.
    virtual bool StartExecute(std::string_view /*sql*/) { return false; }
    virtual std::int64_t FinishExecute() { return -1; }
    // `parameters` may be empty: the statement then has none.
    virtual std::unique_ptr<Statement> Prepare(std::string_view sql,
                                               std::span<const ParameterInfo> parameters) = 0;
    // `select_sql` is "SELECT columns FROM table": no row of it is read.
    virtual std::unique_ptr<Appender> OpenAppender(std::string_view select_sql) = 0;
    // Tables and views, in the order of the data source.
    virtual std::vector<TableEntry> Tables() = 0;
    // Of an existing table, by its bare name. Empty where the driver can't say.
    virtual TableRules RulesOf(std::string_view table);
    // Makes the rows of a bulk load durable. Throws if some that were accepted couldn't be written;
    // the error says how many (LostRows). A destructor couldn't report that.
    virtual void Settle() {}
    // A bulk load begins: until Settle() the driver may keep rows back and write them together.
    virtual void ExpectManyRows() {}
    // What the user should know of the rows and isn't an error of one, such as a part of the source
    // that is missing. Each remark once; some are only known when rows have been read.
    virtual std::vector<std::string> TakeRemarks() { return {}; }
};

class Driver {
public:
    virtual ~Driver() = default;
    virtual std::unique_ptr<DriverConnection> Connect(const ConnectionString& connection) = 0;
    // Makes a new empty database file; only file engines can. The default says so.
    virtual void CreateDatabase(const ConnectionString& connection);
};

}  // namespace vantry
