#pragma once
// The data-access objects: all that pages, loaders and the repository know of any database. They
// are value-like fronts over a driver (data/driver.h); an object is closed when it goes out of
// scope. Each failing operation raises DataError at that operation, never later.
//
// Names are those of the objects' published shape. The end-of-rows test is spelled Eof because
// <cstdio> owns the other spelling as a macro.

#include "data/driver.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vantry {

class Recordset;
class Command;

class Connection {
public:
    int CursorLocation = adUseServer;
    std::string ConnectionString;

    // User and password are part of the string: the two texts are for callers that pass them empty.
    // Opening an open connection is an error, as is opening one without a string.
    void Open(std::string_view connection_string = {},
              std::string_view user = {},
              std::string_view password = {},
              int options = adCmdUnspecified);
    // A statement that gives no rows. `records_affected` may be null.
    void Execute(std::string_view sql,
                 std::int64_t* records_affected = nullptr,
                 int options = adCmdUnspecified);
    void Close();
    // What a table asks of its rows beside their types; empty where the source can't say.
    TableRules RulesOf(std::string_view table);

private:
    friend class Recordset;
    friend class Command;
    friend class Catalog;
    DriverConnection& Driver() const;  // throws kErrObjectClosed
    std::shared_ptr<DriverConnection> driver_;
};

// One column of a recordset and its value in the current row, or in the new row that AddNew began.
class Field {
public:
    const std::string& Name() const { return info_->name; }
    int Type() const { return info_->type; }
    std::int64_t DefinedSize() const { return info_->defined_size; }
    int Precision() const { return info_->precision; }
    int NumericScale() const { return info_->scale; }
    // Valid until the recordset moves. Throws the source's own error where the value couldn't be
    // read, and kErrNoCurrentRow outside the rows.
    const Cell& Value() const;
    // Keeps a copy of text and bytes. Throws when no row is being added.
    void SetValue(const Cell& value);

private:
    friend class Fields;
    friend class Recordset;
    Field(Recordset* owner, const ColumnInfo* info, std::size_t position)
        : owner_(owner), info_(info), position_(position) {}
    Recordset* owner_;
    const ColumnInfo* info_;
    std::size_t position_;
};

// The columns of the open recordset, in the order of its statement. Gone with the next Open.
class Fields {
public:
    std::int32_t Count() const { return static_cast<std::int32_t>(items_.size()); }
    Field& operator[](std::int32_t index);  // throws kErrItemNotFound

private:
    friend class Recordset;
    std::vector<Field> items_;
};

// Rows of one statement, or a place to add rows. Errors of the source come out at the operation
// that met them; a recordset that failed to open is closed.
class Recordset {
public:
    Recordset() = default;
    Recordset(const Recordset&) = delete;  // fields point back to it
    Recordset& operator=(const Recordset&) = delete;

    // `active_connection` is a live Connection, or a connection string: then the recordset has a
    // connection of its own, closed with it. With adLockOptimistic on a dynamic cursor the rows of
    // `source` aren't read: AddNew is what it is opened for. A static cursor holds its rows in
    // memory; all others stream.
    void Open(std::string_view source,
              Connection& active_connection,
              int cursor_type = adOpenUnspecified,
              int lock_type = adLockUnspecified,
              int options = adCmdUnspecified);
    void Open(std::string_view source,
              std::string_view connection_string,
              int cursor_type = adOpenUnspecified,
              int lock_type = adLockUnspecified,
              int options = adCmdUnspecified);
    void Close();

    class Fields& Fields() {  // throws kErrObjectClosed
        RequireOpen();
        return fields_;
    }
    // See DriverConnection; none of a closed one.
    std::vector<std::string> TakeRemarks();
    // Throws once a move has failed for good: there is no row and no end.
    bool Eof() const { return row_.empty() && EofWithoutRow(); }
    void MoveNext() { row_.empty() ? MoveNextUncommonly() : StepCursor(); }
    void MoveFirst();
    // Of a stream that stands on its first row: see HalvedRows. GoOnAt moves.
    std::int64_t Middle() { return cursor_ && !row_.empty() ? cursor_->Middle() : 0; }
    void EndAt(std::int64_t middle) { cursor_->EndAt(middle); }
    void GoOnAt(std::int64_t middle);
    bool EndedWithRow() const { return cursor_->EndedWithRow(); }
    // The current row as it was read, Unreadable cells among them, valid until the next move; empty
    // outside the rows.
    std::span<const Cell> Row();
    // Exact on static cursors, -1 on all others.
    std::int64_t RecordCount() const;
    void Requery();

    // AddNew begins a row whose fields have no value yet. Update sends it; it refuses a row in
    // which a field was never given one, so that a value that couldn't be read never turns into a
    // row with something else in its place. Either way the row is done with only after a successful
    // Update or CancelUpdate.
    void AddNew();
    void Update();
    void CancelUpdate();

private:
    friend class Field;
    void OpenOn(std::shared_ptr<DriverConnection> connection,
                std::string_view source,
                int cursor_type,
                int lock_type);
    void BuildFields(std::span<const ColumnInfo> columns);
    void RequireOpen() const {
        if (position_ == Position::Closed) [[unlikely]] {
            ThrowClosed();
        }
    }
    [[noreturn]] static void ThrowClosed();
    void MoveNextUncommonly();
    bool EofWithoutRow() const;
    const Cell& ValueAt(std::size_t position) const;
    void SetNewValue(std::size_t position, const Cell& value);
    bool OpenForAdding();
    void OpenForReading();
    void StepCursor();
    void ReadAllRows();

    enum class Position { Closed, OnRow, AtEnd, Broken, AddOnly };

    std::shared_ptr<DriverConnection> connection_;
    std::string source_;
    int cursor_type_ = adOpenForwardOnly;
    int lock_type_ = adLockReadOnly;
    std::unique_ptr<Cursor> cursor_;
    std::unique_ptr<Appender> appender_;
    std::optional<DataError> refusal_;  // why no rows can be added
    std::vector<ColumnInfo> columns_;
    class Fields fields_;
    Position position_ = Position::Closed;
    std::span<const Cell> row_;  // of a streaming cursor that stands on a row, else empty
    std::vector<std::vector<Value>> rows_;  // static cursors only
    std::size_t row_index_ = 0;
    std::vector<Cell> kept_cells_;  // what Row gives of them
    bool adding_ = false;
    std::vector<Value> new_row_;
    std::vector<Cell> new_cells_;
};

// Inline: every field of every row comes through here.
inline const Cell& Field::Value() const {
    const auto& row = owner_->row_;
    if (position_ < row.size() && row[position_].Kind() != ValueKind::Unreadable) [[likely]] {
        return row[position_];
    }
    return owner_->ValueAt(position_);
}

// What a value is sent as. Type may be set again between two calls of Execute.
class Parameter {
public:
    int Direction = adParamInput;
    int Type = adEmpty;
    std::int64_t Size = 0;
    int NumericScale = 0;
    int Precision = 0;
    // Looks at the cell's memory until the next Execute and doesn't copy it: what it was read from
    // must stand still until then.
    void SetValue(const Cell& value) { value_ = value; }
    const Cell& Value() const { return value_; }

private:
    friend class Command;
    Cell value_;
};

// The parameters of a command, by their place in its text. Append copies.
class Parameters {
public:
    void Append(const Parameter& parameter) { items_.push_back(parameter); }
    Parameter& operator[](std::int32_t index);  // throws kErrItemNotFound
    std::int32_t Count() const { return static_cast<std::int32_t>(items_.size()); }

private:
    friend class Command;
    std::vector<Parameter> items_;
};

// One statement, executed again and again with other values or other text.
class Command {
public:
    int CommandType = adCmdText;
    std::string ActiveConnection;  // a connection string: the command opens a connection of its own
                                   // at its first Execute
    std::string CommandText;       // may be replaced between two calls of Execute
    class Parameters Parameters;
    // Many calls will follow: a file engine may then flush several rows together. A row counts as
    // stored only once Settle has returned.
    bool ManyRows = false;

    // Prepares at the first call and whenever text or parameter types have changed. A call uses the
    // parameters' values up: each must be set again before the next. A parameter without a value is
    // an error of this call. Returns the count of rows affected, -1 where it isn't known.
    std::int64_t Execute();
    // In place of Execute for an INSERT without parameters: sends it and leaves its answer to
    // FinishExecute, so that the caller works while the data source does. False where that can't be
    // done: nothing was sent.
    bool StartExecute();
    std::int64_t FinishExecute();
    // ---- Rows that travel together

    // So many rows may be kept back by Keep, 1 where each must go by Execute. Prepares.
    std::size_t MostKept();
    // In place of Execute, behind a MostKept of several: keeps a copy of the row that the
    // parameters' values are. When it isn't kept, they are still there.
    Statement::Keeping Keep();
    // Sends the rows that are kept; one outcome a row, an error being what Execute would have
    // thrown.
    void SendKept(RowOutcomes& outcomes);

    // After the last call: flushes, and throws what went wrong with rows that Execute had taken;
    // the error says how many are lost.
    void Settle();

private:
    void Connect();
    bool IsPrepared() const;
    void Prepare();
    void TakeValues();

    std::shared_ptr<DriverConnection> connection_;
    std::string connected_to_;
    std::unique_ptr<Statement> statement_;
    std::string prepared_text_;
    std::vector<int> prepared_types_;
    std::vector<Cell> values_;
};

class Tables {
public:
    std::int32_t Count() const { return static_cast<std::int32_t>(items_.size()); }
    // An item has Name and Type.
    struct Item {
        std::string Name;
        std::string Type;
    };
    const Item& operator[](std::int32_t index) const;  // throws kErrItemNotFound

private:
    friend class Catalog;
    std::vector<Item> items_;
};

// A database as a whole: made anew, or asked for its tables and views.
class Catalog {
public:
    // A new empty database file; an existing one is an error.
    void Create(std::string_view connection_string);
    void SetActiveConnection(std::string_view connection_string);  // connects
    class Tables&
    Tables();  // read afresh after each SetActiveConnection; throws kErrObjectClosed before one

private:
    std::shared_ptr<DriverConnection> connection_;
    std::unique_ptr<class Tables> tables_;
};

}  // namespace vantry
