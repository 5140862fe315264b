// SQLite steps, our cells come out. Plain columns never pass through SQLite: where its scan stands
// at the row they are the engine's own cells; behind a sort the row is found again by its id, and
// because single seeks in sorted order would jump through the file, rows come by the chunk and each
// chunk is read in the table's order. Easy to get wrong: cells are views, valid until the scan
// moves, so who looks ahead copies; SQLite's numbers are checked against the type that was
// promised; and an error behind a chunk is told only after the chunk's rows.

#include "drivers/sql/run/query.h"

#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/functions/exact_number.h"
#include "drivers/sql/functions/functions.h"
#include "drivers/sql/plan/value_type.h"

#include <algorithm>
#include <cmath>

namespace vantry::sql {
namespace {

// The first chunk is small, so that the first row is there soon; the largest is bounded in rows
// and, by what the rows of the last one took, in bytes.
constexpr std::size_t kFirstChunk = 100;
constexpr std::size_t kLargestChunk = 200'000;
constexpr std::size_t kChunkBytes = 32 * 1024 * 1024;

// With the decimals of the column.
Cell DecimalCell(const Cell& number, const ColumnInfo& info) {
    const int scale = info.type == adCurrency ? 4 : info.scale == kDoesNotApply ? 0 : info.scale;
    const auto decimal = ToDecimal(number, scale);
    if (!decimal) {
        throw Overflow();
    }
    return Cell::FromDecimal(*decimal);
}

}  // namespace

Query::Query(CompiledQuery compiled,
             std::shared_ptr<EmbeddedDatabase> database,
             const Dialect& dialect)
    : database_(std::move(database)),
      compiled_(std::move(compiled)),
      session_(dialect),
      chunk_(compiled_.columns.size()),
      chunk_rows_(kFirstChunk) {
    for (const auto* function : compiled_.functions) {
        session_.AddFunction(*function);
    }
    for (std::size_t k = 0; k < compiled_.sources.size(); ++k) {
        compiled_.sources[k]->Register(session_, k);
    }
    sqlite3_stmt* statement = nullptr;
    // Persistent: a prepared UPDATE runs many times.
    const int code = sqlite3_prepare_v3(session_.Handle(),
                                        compiled_.sql.data(),
                                        static_cast<int>(compiled_.sql.size()),
                                        SQLITE_PREPARE_PERSISTENT,
                                        &statement,
                                        nullptr);
    statement_.reset(statement);
    if (code != SQLITE_OK || statement == nullptr) {
        session_.Throw(code);
    }
    shown_.resize(compiled_.sources.size());
    bool in_order = true;
    for (const auto& column : compiled_.columns) {
        infos_.push_back(column.info);
        std::size_t position = 0;
        if (column.source) {
            const auto& shown = compiled_.sources[*column.source]->shown_columns;
            const auto found = std::find(shown.begin(), shown.end(), column.stored_column);
            position = static_cast<std::size_t>(found - shown.begin());
        }
        in_order = in_order && column.source && position == positions_.size();
        positions_.push_back(position);
    }
    passes_through_ = in_order && compiled_.sources.size() == 1;
    cells_.resize(compiled_.columns.size());
    // Shown columns that the scan can't show are those of rows that come out in another order.
    for (const auto& source : compiled_.sources) {
        by_chunks_ = by_chunks_ || (!source->shown_columns.empty() && !source->shows_directly);
    }
}

// Parameters are bound once a run; SQLite keeps copies of them.
void Query::Start(std::span<const Cell> parameters) {
    if (parameters.size() < compiled_.parameter_count) {
        throw NoSuchColumn();
    }
    Stop();
    session_.ForgetPresent();
    for (std::size_t k = 0; k < compiled_.parameter_count; ++k) {
        BindCell(static_cast<int>(k + 1), parameters[k]);
    }
    at_end_ = false;
}

// Ends SQLite's scans, and with them the engine's hold on the file.
void Query::Stop() {
    sqlite3_reset(statement_.get());
    at_end_ = true;
    no_more_ = false;
    behind_chunk_ = nullptr;
    ids_.clear();
    chunk_.Clear();
    chunk_next_ = 0;
    chunk_rows_ = kFirstChunk;
    row_ = {};
}

void Query::BindCell(int index, const Cell& cell) {
    auto* statement = statement_.get();
    const auto copied = reinterpret_cast<sqlite3_destructor_type>(std::intptr_t{-1});
    switch (cell.Kind()) {
        // A value that isn't there isn't Null.
        case ValueKind::Unset:
        case ValueKind::Unreadable:
            throw NoSuchColumn();
        case ValueKind::Null:
            sqlite3_bind_null(statement, index);
            break;
        case ValueKind::Boolean:
            sqlite3_bind_int(statement, index, cell.AsBoolean() ? -1 : 0);
            break;
        case ValueKind::Int64:
            sqlite3_bind_int64(statement, index, cell.AsInt64());
            break;
        case ValueKind::DateTime:
            sqlite3_bind_double(statement, index, LinearDays(cell.AsDateTime()));
            break;
        case ValueKind::Text:
            sqlite3_bind_text64(statement,
                                index,
                                cell.AsText().empty() ? "" : cell.AsText().data(),
                                cell.AsText().size(),
                                copied,
                                SQLITE_UTF8);
            break;
        case ValueKind::Bytes:
            sqlite3_bind_blob64(
                statement,
                index,
                cell.AsBytes().empty() ? "" : static_cast<const void*>(cell.AsBytes().data()),
                cell.AsBytes().size(),
                copied);
            break;
        default:
            // Unsigned and decimal numbers that are whole keep all digits.
            if (const auto whole = ToInt64(cell)) {
                sqlite3_bind_int64(statement, index, *whole);
            } else if (const auto decimal = LongDecimal(cell)) {
                // Its text, which all that takes a parameter can read.
                std::string text;
                AppendDecimal(*decimal, text);
                sqlite3_bind_text64(
                    statement, index, text.data(), text.size(), copied, SQLITE_UTF8);
            } else {
                sqlite3_bind_double(statement, index, ToDouble(cell).value_or(0));
            }
            break;
    }
}

bool Query::Step() {
    const int code = sqlite3_step(statement_.get());
    if (code != SQLITE_ROW && code != SQLITE_DONE) {
        session_.Throw(code);
    }
    return code == SQLITE_ROW;
}

bool Query::Next() {
    if (at_end_) {
        return false;
    }
    // A cursor that failed is at its end: the next call must not repeat a row.
    at_end_ = true;  // also when the step throws
    if (by_chunks_ ? !NextKept() : !Step()) {
        return false;
    }
    at_end_ = false;
    if (!by_chunks_) {
        TakeRow();
    }
    return true;
}

// The row that SQLite and its scans stand at.
void Query::TakeRow() {
    for (std::size_t k = 0; k < shown_.size(); ++k) {
        if (!compiled_.sources[k]->shown_columns.empty()) {
            FindRow(k);
        }
    }
    // SELECT a, b FROM t WHERE ...: the engine's row is the result's row.
    if (passes_through_ && !shown_[0].cells.empty()) {
        row_ = shown_[0].cells.first(cells_.size());
        return;
    }
    for (std::size_t k = 0; k < cells_.size(); ++k) {
        const auto& column = compiled_.columns[k];
        if (!column.source) {
            cells_[k] = Computed(column);
        } else {
            const auto& cells = shown_[*column.source].cells;
            cells_[k] = cells.empty() ? Cell::Null() : cells[positions_[k]];
        }
    }
    row_ = cells_;
}

void Query::FindRow(std::size_t source) {
    auto& shown = shown_[source];
    const auto& table = *compiled_.sources[source];
    if (compiled_.row_id_columns[source] < 0) {
        shown.standing = true;
        shown.cells = table.CurrentRow();
        return;
    }
    // Null: the row that an outer join found no match for.
    const auto id = RowIdAt(source);
    shown.id = id.value_or(0);
    shown.standing = id && table.StandsAt(*id);
    if (shown.standing) {
        shown.cells = table.CurrentRow();
    } else {
        auto& fetcher = FetcherOf(source);
        fetcher.Fetch(std::span(&id, 1));
        shown.cells = fetcher.RowOf(0);
    }
}

std::optional<RowId> Query::RowIdAt(std::size_t source) const {
    const int column = compiled_.row_id_columns[source];
    if (column < 0 || sqlite3_column_type(statement_.get(), column) == SQLITE_NULL) {
        return std::nullopt;
    }
    return sqlite3_column_int64(statement_.get(), column);
}

RowFetcher& Query::FetcherOf(std::size_t source) {
    auto& fetcher = shown_[source].fetcher;
    if (!fetcher) {
        const auto& table = *compiled_.sources[source];
        fetcher = std::make_unique<RowFetcher>(table.SharedTable(), table.shown_columns);
    }
    return *fetcher;
}

RowId Query::RowOf(std::size_t source) const {
    return by_chunks_ ? ids_[source][chunk_next_ - 1].value_or(-1) : RowIdAt(source).value_or(-1);
}

void Query::FillChunk() {
    chunk_.Clear();
    ids_.assign(shown_.size(), {});
    chunk_next_ = 0;
    try {
        while (chunk_.Size() < chunk_rows_ && !no_more_) {
            if (!Step()) {
                no_more_ = true;
                break;
            }
            for (std::size_t k = 0; k < cells_.size(); ++k) {
                const auto& column = compiled_.columns[k];
                cells_[k] = column.source ? Cell::Null() : Computed(column);
            }
            for (std::size_t k = 0; k < shown_.size(); ++k) {
                ids_[k].push_back(RowIdAt(k));
            }
            chunk_.Add(0, cells_);
        }
        // The rows before the failure are the result's, and the error comes in its place among
        // them.
    } catch (...) {
        behind_chunk_ = std::current_exception();
        no_more_ = true;
    }
    std::size_t bytes = chunk_.Bytes();
    for (std::size_t k = 0; k < shown_.size(); ++k) {
        if (!compiled_.sources[k]->shown_columns.empty()) {
            FetcherOf(k).Fetch(std::span(ids_[k]).first(chunk_.Size()));
            bytes += FetcherOf(k).Bytes();
        }
    }
    // The next chunk is as large as memory allows by what this one took.
    const auto per_row = bytes / std::max<std::size_t>(chunk_.Size(), 1) + 1;
    chunk_rows_ = std::clamp<std::size_t>(
        kChunkBytes / per_row, kFirstChunk, std::min(kLargestChunk, chunk_rows_ * 100));
}

bool Query::NextKept() {
    if (chunk_next_ == chunk_.Size()) {
        if (!no_more_) {
            FillChunk();
        }
        if (chunk_next_ == chunk_.Size()) {
            if (behind_chunk_) {
                std::rethrow_exception(std::exchange(behind_chunk_, nullptr));
            }
            return false;
        }
    }
    const auto row = chunk_next_++;
    const auto computed = chunk_.RowAt(row);
    for (std::size_t k = 0; k < shown_.size(); ++k) {
        if (!compiled_.sources[k]->shown_columns.empty()) {
            shown_[k].id = ids_[k][row].value_or(0);
            // Throws where another program deleted the row between sorting and reading it.
            shown_[k].cells = shown_[k].fetcher->RowOf(row);
        }
    }
    for (std::size_t k = 0; k < cells_.size(); ++k) {
        const auto& column = compiled_.columns[k];
        const auto& cells = column.source ? shown_[*column.source].cells : computed;
        cells_[k] = !column.source  ? computed[k]
                    : cells.empty() ? Cell::Null()
                                    : cells[positions_[k]];
    }
    row_ = cells_;
    return true;
}

DataError Query::FieldError(std::size_t column) const {
    const auto& result = compiled_.columns[column];
    if (!result.source) {
        return {kErrConversion, "The value of column " + infos_[column].name + " can't be read."};
    }
    const auto& shown = shown_[*result.source];
    return shown.standing ? compiled_.sources[*result.source]->FieldError(positions_[column])
                          : shown.fetcher->FieldError(shown.id, positions_[column]);
}

Cell Query::ExactNumber(const ColumnInfo& info, int sql_column) {
    const auto* data =
        static_cast<const std::byte*>(sqlite3_column_blob(statement_.get(), sql_column));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), sql_column));
    const auto decimal = DecimalOfBytes({data, size});
    if (!decimal) {
        throw Overflow();
    }
    return DecimalCell(Cell::FromDecimal(*decimal), info);
}

Cell Query::Number(const ColumnInfo& info, int sql_column) {
    auto* statement = statement_.get();
    const bool whole = sqlite3_column_type(statement, sql_column) == SQLITE_INTEGER;
    const double number = sqlite3_column_double(statement, sql_column);
    if (info.type == adDouble || info.type == adSingle) {
        const auto single = static_cast<float>(number);
        if (!std::isfinite(info.type == adSingle ? double{single} : number)) {
            throw Overflow();  // of SQLite's own arithmetic, which calls it infinite
        }
        return info.type == adSingle ? Cell::Single(single) : Cell::Double(number);
    }
    const auto cell =
        whole ? Cell::Int64(sqlite3_column_int64(statement, sql_column)) : Cell::Double(number);
    if (IsExactDecimal(info.type)) {
        return DecimalCell(cell, info);
    }
    // A whole type may have got a double from a division: it is rounded, not cut.
    const auto rounded = ToInt64Rounded(cell);
    const bool small = info.type == adInteger || info.type == adSmallInt;
    if (!rounded || (small && (*rounded < INT32_MIN || *rounded > INT32_MAX))) {
        throw Overflow();
    }
    return Cell::Int64(*rounded);
}

// The value of an expression, in the kind that its type says.
Cell Query::Computed(const ResultColumn& column) {
    auto* statement = statement_.get();
    const int index = column.sql_column;
    const int kind = sqlite3_column_type(statement, index);
    if (kind == SQLITE_NULL) {
        return Cell::Null();
    }
    const bool number = kind == SQLITE_INTEGER || kind == SQLITE_FLOAT;
    const auto family = FamilyOf(column.info.type);
    if (number && family == Family::Number) {
        return Number(column.info, index);
    }
    if (number && family == Family::Boolean) {
        return Cell::Boolean(sqlite3_column_double(statement, index) != 0);
    }
    if (number && family == Family::Date) {
        const auto date = FromLinearDays(sqlite3_column_double(statement, index));
        if (!date) {
            throw Overflow();
        }
        return Cell::FromDateTime(*date);
    }
    if (kind == SQLITE_BLOB && IsWide(TypeOf(column.info))) {
        return ExactNumber(column.info, index);
    }
    if (kind == SQLITE_BLOB) {
        const auto* data = static_cast<const std::byte*>(sqlite3_column_blob(statement, index));
        return Cell::Bytes(
            {data, static_cast<std::size_t>(sqlite3_column_bytes(statement, index))});
    }
    // A result without a type, as of a parameter: by what it turned out to be.
    if (kind == SQLITE_INTEGER) {
        return Cell::Int64(sqlite3_column_int64(statement, index));
    }
    if (kind == SQLITE_FLOAT) {
        return Cell::Double(sqlite3_column_double(statement, index));
    }
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, index));
    return Cell::Text({text, static_cast<std::size_t>(sqlite3_column_bytes(statement, index))});
}

namespace {

class QueryCursor : public Cursor {
public:
    QueryCursor(CompiledQuery compiled,
                std::shared_ptr<EmbeddedDatabase> database,
                const Dialect& dialect)
        : query_(std::move(compiled), std::move(database), dialect) {
        query_.Start({});
    }

    std::span<const ColumnInfo> Columns() const override { return query_.Columns(); }

    bool Next() override {
        if (failure_) {
            std::rethrow_exception(failure_);
        }
        try {
            return query_.Next();
        } catch (...) {
            failure_ = std::current_exception();
            throw;
        }
    }

    std::span<const Cell> Row() const override { return query_.Row(); }
    DataError FieldError(std::size_t column) const override { return query_.FieldError(column); }

private:
    Query query_;
    std::exception_ptr failure_;
};

}  // namespace

std::unique_ptr<Cursor> OpenQuery(const Select& select,
                                  std::shared_ptr<EmbeddedDatabase> database,
                                  const Dialect& dialect) {
    auto compiled = CompileSelect(select, *database, dialect);
    return std::make_unique<QueryCursor>(std::move(compiled), std::move(database), dialect);
}

}  // namespace vantry::sql
