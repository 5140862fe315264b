// The state of the objects over a driver: which operation is allowed when, and whose words an error
// has. A recordset is one of three things: a streaming cursor, whose row is the driver's own
// memory, a static one that holds its rows, or an appender that reads nothing. Easy to get wrong: a
// cursor whose step failed must stay dead, or a lost server would give its last row for ever; rows
// sent in bulk fail as late as Close, so Close flushes first and throws last; and a field without a
// value is refused rather than sent as something else.

#include "core/data_access.h"

#include "core/driver_registry.h"

#include <utility>

namespace vantry {
namespace {

DataError ObjectClosed(std::string_view object) {
    return {kErrObjectClosed,
            "Operation is not allowed when the object is closed: " + std::string(object) + "."};
}

DataError NoSuchItem(std::string_view collection, std::int32_t index, std::int32_t count) {
    return {kErrItemNotFound,
            "Item " + std::to_string(index) + " cannot be found in the collection " +
                std::string(collection) + ", which has " + std::to_string(count) + "."};
}

// What a data source over a driver of our own stands for is put in first: that driver would look
// for a file or server in the string, and find a name.
std::shared_ptr<DriverConnection> ConnectByString(std::string_view text) {
    const auto connection = WithDataSource(ConnectionString::Parse(text));
    return DriverFor(connection).Connect(connection);
}

}  // namespace

// ---- Connection

// User and password are ignored even where they are given: what a stored string says must be all
// that it takes to run its session.
void Connection::Open(std::string_view connection_string, std::string_view, std::string_view, int) {
    if (driver_) {
        throw DataError(kErrInvalidArgument,
                        "Operation is not allowed when the connection is open already.");
    }
    if (!connection_string.empty()) {
        ConnectionString = connection_string;
    }
    driver_ = ConnectByString(ConnectionString);
}

void Connection::Execute(std::string_view sql, std::int64_t* records_affected, int) {
    const auto affected = Driver().Execute(sql);
    if (records_affected != nullptr) {
        *records_affected = affected;
    }
}

TableRules Connection::RulesOf(std::string_view table) {
    return Driver().RulesOf(table);
}

// Recordsets on it keep the driver's connection until they close.
void Connection::Close() {
    if (!driver_) {
        throw ObjectClosed("Connection");
    }
    driver_.reset();
}

DriverConnection& Connection::Driver() const {
    if (!driver_) {
        throw ObjectClosed("Connection");
    }
    return *driver_;
}

// ---- Field, Fields

void Field::SetValue(const Cell& value) {
    owner_->SetNewValue(position_, value);
}

// Places count from 0, as in every collection here; rows in the log count from 1.
Field& Fields::operator[](std::int32_t index) {
    if (index < 0 || index >= Count()) {
        throw NoSuchItem("Fields", index, Count());
    }
    return items_[static_cast<std::size_t>(index)];
}

// ---- Recordset

void Recordset::Open(
    std::string_view source, Connection& active_connection, int cursor_type, int lock_type, int) {
    // Shared, so that the recordset may outlive the Connection object that opened it.
    active_connection.Driver();  // a closed connection is an error of this call
    OpenOn(active_connection.driver_, source, cursor_type, lock_type);
}

void Recordset::Open(std::string_view source,
                     std::string_view connection_string,
                     int cursor_type,
                     int lock_type,
                     int) {
    if (position_ != Position::Closed) {
        throw DataError(kErrInvalidArgument,
                        "Operation is not allowed when the recordset is open already.");
    }
    OpenOn(ConnectByString(connection_string), source, cursor_type, lock_type);
}

void Recordset::OpenOn(std::shared_ptr<DriverConnection> connection,
                       std::string_view source,
                       int cursor_type,
                       int lock_type) {
    if (position_ != Position::Closed) {
        throw DataError(kErrInvalidArgument,
                        "Operation is not allowed when the recordset is open already.");
    }
    connection_ = std::move(connection);
    source_ = source;
    cursor_type_ = cursor_type;
    lock_type_ = lock_type;
    try {
        // A recordset that failed to open is closed, and can be opened again.
        Requery();
    } catch (...) {
        row_ = {};
        cursor_.reset();
        appender_.reset();
        connection_.reset();
        position_ = Position::Closed;
        throw;
    }
}

void Recordset::Requery() {
    if (!connection_) {
        throw ObjectClosed("Recordset");
    }
    adding_ = false;
    row_ = {};
    cursor_.reset();
    appender_.reset();
    refusal_.reset();
    // The one pair of cursor and lock that no reader asks for. Its rows aren't read: a target of a
    // million rows would be, only to be appended to.
    if (cursor_type_ == adOpenDynamic && lock_type_ == adLockOptimistic && OpenForAdding()) {
        return;
    }
    OpenForReading();
}

// False when no rows can be added to what the source text names, a count for instance: it can still
// be read.
bool Recordset::OpenForAdding() {
    try {
        connection_->ExpectManyRows();  // Close flushes them
        appender_ = connection_->OpenAppender(source_);
    } catch (const DataError& error) {
        refusal_ = error;
        return false;
    }
    BuildFields(appender_->Columns());
    new_row_.resize(columns_.size());
    new_cells_.resize(columns_.size());
    position_ = Position::AddOnly;
    return true;
}

void Recordset::OpenForReading() {
    try {
        cursor_ = connection_->OpenCursor(source_);
    } catch (const DataError&) {
        if (refusal_) {
            throw DataError(*refusal_);  // it came first, and says more
        }
        throw;
    }
    BuildFields(cursor_->Columns());
    if (cursor_type_ == adOpenStatic) {
        ReadAllRows();
        row_index_ = 0;
        position_ = rows_.empty() ? Position::AtEnd : Position::OnRow;
    } else {
        StepCursor();
    }
}

// Fields point into columns_, which must not grow while they live.
void Recordset::BuildFields(std::span<const ColumnInfo> columns) {
    columns_.assign(columns.begin(), columns.end());
    fields_.items_.clear();
    for (std::size_t position = 0; position < columns_.size(); ++position) {
        fields_.items_.push_back(Field(this, &columns_[position], position));
    }
}

void Recordset::ReadAllRows() {
    rows_.clear();
    while (cursor_->Next()) {
        const auto row = cursor_->Row();
        auto& kept = rows_.emplace_back();
        kept.reserve(row.size());
        for (std::size_t column = 0; column < row.size(); ++column) {
            // A kept row has no cursor left to ask for the reason later: it fails here.
            if (row[column].Kind() == ValueKind::Unreadable) {
                throw cursor_->FieldError(column);
            }
            kept.emplace_back(row[column]);
        }
    }
    cursor_.reset();
}

void Recordset::StepCursor() {
    // Until the step is done there is no row: if it throws, there never will be one again.
    position_ = Position::Broken;
    row_ = {};
    if (cursor_->Next()) {
        row_ = cursor_->Row();
        position_ = Position::OnRow;
    } else {
        position_ = Position::AtEnd;
    }
}

// Everything is released before the error of Settle goes out: the object can be opened again either
// way.
void Recordset::Close() {
    RequireOpen();
    adding_ = false;
    row_ = {};
    cursor_.reset();
    std::exception_ptr lost;
    try {
        if (appender_) {
            connection_->Settle();  // the appender's end couldn't report
        }
    } catch (...) {
        lost = std::current_exception();
    }
    appender_.reset();
    connection_.reset();
    rows_.clear();
    fields_.items_.clear();
    position_ = Position::Closed;
    if (lost) {
        std::rethrow_exception(lost);
    }
}

void Recordset::ThrowClosed() {
    throw ObjectClosed("Recordset");
}

std::vector<std::string> Recordset::TakeRemarks() {
    return connection_ ? connection_->TakeRemarks() : std::vector<std::string>();
}

bool Recordset::EofWithoutRow() const {
    RequireOpen();
    if (position_ == Position::Broken) {
        throw DataError(kErrNoCurrentRow, "Reading the source broke off: there is no current row.");
    }
    return position_ != Position::OnRow;
}

// Where no streaming cursor stands on a row.
void Recordset::MoveNextUncommonly() {
    RequireOpen();
    if (position_ == Position::Broken) {
        throw DataError(kErrNoCurrentRow, "Reading the source broke off: there is no current row.");
    }
    if (position_ != Position::OnRow) {
        throw DataError(kErrNoCurrentRow,
                        "There is no current row to move from: the rows have ended.");
    }
    if (cursor_) {
        StepCursor();
        return;
    }
    ++row_index_;
    if (row_index_ >= rows_.size()) {
        position_ = Position::AtEnd;
    }
}

void Recordset::GoOnAt(std::int64_t middle) {
    RequireOpen();
    cursor_->GoOnAt(middle);
    StepCursor();
}

void Recordset::MoveFirst() {
    RequireOpen();
    // A stream can't go back: it starts again, and the source may have other rows by then.
    if (appender_) {
        return;
    }
    if (cursor_type_ != adOpenStatic) {
        Requery();
        return;
    }
    row_index_ = 0;
    position_ = rows_.empty() ? Position::AtEnd : Position::OnRow;
}

std::span<const Cell> Recordset::Row() {
    if (cursor_ || position_ != Position::OnRow) {
        return row_;
    }
    kept_cells_.clear();
    for (const auto& value : rows_[row_index_]) {
        kept_cells_.push_back(value.AsCell());
    }
    return kept_cells_;
}

// A stream can't say how many rows are left, and counting them would read them all.
std::int64_t Recordset::RecordCount() const {
    RequireOpen();
    return cursor_type_ == adOpenStatic ? static_cast<std::int64_t>(rows_.size()) : -1;
}

const Cell& Recordset::ValueAt(std::size_t position) const {
    if (adding_) {
        return new_row_[position].AsCell();
    }
    if (position_ != Position::OnRow) {
        throw DataError(
            kErrNoCurrentRow,
            "There is no current row: column " + columns_[position].name + " has no value.");
    }
    if (!cursor_) {
        return rows_[row_index_][position].AsCell();
    }
    const Cell& cell = row_[position];
    if (cell.Kind() == ValueKind::Unreadable) {
        throw cursor_->FieldError(position);
    }
    return cell;
}

void Recordset::SetNewValue(std::size_t position, const Cell& value) {
    if (!adding_) {
        throw DataError(
            kErrInvalidArgument,
            "Column " + columns_[position].name + " can't be set: no new row was begun.");
    }
    new_row_[position].Assign(value);
}

void Recordset::AddNew() {
    RequireOpen();
    if (refusal_) {
        throw DataError(*refusal_);
    }
    if (!appender_) {
        throw DataError(kErrInvalidArgument,
                        "Current Recordset does not support updating: it was opened for reading.");
    }
    // The buffers stay: Assign keeps a text's memory, and a row costs no allocation.
    for (auto& value : new_row_) {
        value.Assign(Cell());
    }
    adding_ = true;
}

void Recordset::Update() {
    RequireOpen();
    if (!adding_) {
        throw DataError(kErrInvalidArgument, "There is no new row to update.");
    }
    for (std::size_t column = 0; column < new_row_.size(); ++column) {
        new_cells_[column] = new_row_[column].AsCell();
        if (new_cells_[column].IsUnset()) {
            throw DataError(
                kErrMissingParameter,
                "The row isn't stored: column " + columns_[column].name + " was given no value.");
        }
    }
    // A refused row stays begun: the caller says by CancelUpdate that it gives it up.
    appender_->Append(new_cells_);
    adding_ = false;
}

void Recordset::CancelUpdate() {
    RequireOpen();
    adding_ = false;
}

// ---- Command

Parameter& Parameters::operator[](std::int32_t index) {
    if (index < 0 || index >= Count()) {
        throw NoSuchItem("Parameters", index, Count());
    }
    return items_[static_cast<std::size_t>(index)];
}

void Command::Connect() {
    if (!connection_ || connected_to_ != ActiveConnection) {
        statement_.reset();
        connection_ = ConnectByString(ActiveConnection);
        connected_to_ = ActiveConnection;
        if (ManyRows) {
            connection_->ExpectManyRows();
        }
    }
}

// Text and types are compared at each call: a server's prepared statement has its types fixed.
bool Command::IsPrepared() const {
    const auto& items = Parameters.items_;
    bool same =
        statement_ && prepared_text_ == CommandText && prepared_types_.size() == items.size();
    for (std::size_t k = 0; same && k < items.size(); ++k) {
        same = prepared_types_[k] == items[k].Type;
    }
    return same;
}

void Command::Prepare() {
    std::vector<ParameterInfo> infos;
    prepared_types_.clear();
    for (const auto& item : Parameters.items_) {
        infos.push_back({item.Type, item.Size, item.Precision, item.NumericScale});
        prepared_types_.push_back(item.Type);
    }
    // The old statement ends first: some servers have one at a time for a connection.
    statement_.reset();
    statement_ = connection_->Prepare(CommandText, infos);
    prepared_text_ = CommandText;
}

// Into values_. They are used up also when the row isn't sent, so that no value of this row gets
// into the next.
void Command::TakeValues() {
    auto& items = Parameters.items_;
    values_.clear();
    std::size_t missing = items.size();
    for (std::size_t k = 0; k < items.size(); ++k) {
        if (items[k].value_.IsUnset()) {
            missing = std::min(missing, k);
        }
        values_.push_back(items[k].value_);
        items[k].value_ = Cell();
    }
    if (missing < items.size()) {
        throw DataError(kErrMissingParameter,
                        "No value given for one or more required parameters: parameter " +
                            std::to_string(missing + 1) + " of " + std::to_string(items.size()) +
                            " has none, so the row isn't sent.");
    }
}

std::int64_t Command::Execute() {
    Connect();
    if (Parameters.items_.empty()) {
        return connection_->Execute(CommandText);
    }
    const bool prepared = IsPrepared();
    TakeValues();
    if (!prepared) {
        Prepare();
    }
    return statement_->Execute(values_);
}

bool Command::StartExecute() {
    Connect();
    return connection_->StartExecute(CommandText);
}

std::int64_t Command::FinishExecute() {
    return connection_->FinishExecute();
}

std::size_t Command::MostKept() {
    Connect();
    if (!IsPrepared()) {
        Prepare();
    }
    return statement_->MostKept();
}

Statement::Keeping Command::Keep() {
    TakeValues();
    const auto keeping = statement_->Keep(values_);
    for (std::size_t k = 0; keeping != Statement::Keeping::Kept && k < values_.size(); ++k) {
        // Given back: a row that wasn't kept is sent by itself, with the same values.
        Parameters.items_[k].value_ = values_[k];
    }
    return keeping;
}

void Command::SendKept(RowOutcomes& outcomes) {
    statement_->SendKept(outcomes);
}

void Command::Settle() {
    if (connection_) {
        connection_->Settle();
    }
}

// ---- Catalog

const Tables::Item& Tables::operator[](std::int32_t index) const {
    if (index < 0 || index >= Count()) {
        throw NoSuchItem("Tables", index, Count());
    }
    return items_[static_cast<std::size_t>(index)];
}

void Catalog::Create(std::string_view connection_string) {
    const auto connection = ConnectionString::Parse(connection_string);
    DriverFor(connection).CreateDatabase(connection);
}

void Catalog::SetActiveConnection(std::string_view connection_string) {
    // Both go before the new one is tried: after a failure the catalogue lists nothing, not the
    // old.
    tables_.reset();
    connection_.reset();
    connection_ = ConnectByString(connection_string);
}

Tables& Catalog::Tables() {
    if (!connection_) {
        throw ObjectClosed("Catalog");
    }
    if (!tables_) {
        tables_ = std::make_unique<class Tables>();
        for (auto& entry : connection_->Tables()) {
            tables_->items_.push_back({std::move(entry.name), std::move(entry.type)});
        }
    }
    return *tables_;
}

}  // namespace vantry
