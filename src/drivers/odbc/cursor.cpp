// Rows stream from the driver as long as nothing else wants its connection. Most drivers carry one
// open result at a time, so the link asks the cursor that streams to take the rest of its rows into
// memory before the next statement starts. Easy to get wrong: the row that is being looked at must
// survive that, a failure among the rows taken early belongs behind them, and a cursor that failed
// stays failed.

#include "drivers/odbc/cursor.h"

#include "drivers/odbc/all_digits.h"
#include "drivers/odbc/errors.h"

#include <new>

namespace vantry::odbc {
namespace {

// A result that still streams on this connection is taken into memory first.
StatementHandle ExecuteForRows(Link& link, std::string_view sql) {
    link.Idle();
    auto statement = link.NewStatement();
    link.ExecuteDirect(statement, sql);
    return statement;
}

// The columns of a statement for SQLite whose floating values must be asked for in another way, and
// that way put into `sql`; none for all other statements.
std::vector<Column> ColumnsOfSqlite(Link& link, std::string& sql) {
    if (link.GetTraits().dialect != Dialect::Sqlite) {
        return {};
    }
    link.Idle();
    const auto statement = link.NewStatement();
    link.Prepare(statement, sql);
    auto columns = DescribeColumns(link, statement);
    auto changed = WithAllDigits(sql, columns);
    if (!changed) {
        return {};
    }
    sql = *std::move(changed);
    return columns;
}

}  // namespace

OdbcCursor::OdbcCursor(std::shared_ptr<Link> link, std::string_view sql) : link_(std::move(link)) {
    std::string sent(sql);
    auto columns = ColumnsOfSqlite(*link_, sent);
    statement_ = ExecuteForRows(*link_, sent);
    Start(std::move(columns));
}

OdbcCursor::OdbcCursor(std::shared_ptr<Link> link, StatementHandle statement)
    : link_(std::move(link)), statement_(std::move(statement)) {
    Start({});
}

OdbcCursor::~OdbcCursor() {
    EndReading();
}

void OdbcCursor::Start(std::vector<Column> columns) {
    if (columns.empty()) {
        columns = DescribeColumns(*link_, statement_);
    }
    // What a server says about rows affected comes as results of its own before the rows.
    while (columns.empty()) {
        const auto result =
            link_->Asking(statement_, [&] { return SQLMoreResults(statement_.Get()); });
        link_->Check(result, statement_);
        if (result == SQL_NO_DATA) {
            throw NotARowStatement(link_->Source());
        }
        columns = DescribeColumns(*link_, statement_);
    }
    reader_.emplace(*link_, statement_, std::move(columns));
    infos_.assign(reader_->Columns().begin(), reader_->Columns().end());
    cells_.resize(infos_.size());
    link_->BeginStream(this);
}

bool OdbcCursor::Next() {
    on_row_ = false;
    if (reader_) {
        on_row_ = FetchFromDriver();
    } else if (!kept_.empty()) {
        current_ = std::move(kept_.front());
        kept_.pop_front();
        ShowKept();
        on_row_ = true;
        // A failed reading is over: it raises the same again, where another Fetch would repeat the
        // last row of some drivers or go on behind it.
    } else if (failure_) {
        throw DataError(*failure_);
    }
    return on_row_;
}

// The driver's statement goes with its last row or its error, not with the cursor: recordsets are
// often kept open behind their end, and would hold locks and the connection.
bool OdbcCursor::FetchFromDriver() {
    try {
        if (reader_->Fetch(cells_)) {
            return true;
        }
    } catch (const DataError& error) {
        failure_ = error;
    }
    EndReading();
    if (failure_) {
        throw DataError(*failure_);
    }
    return false;
}

void OdbcCursor::EndReading() {
    const AnswerWatch::Wait wait(link_->Watch());
    link_->EndStream(this);
    statement_.Reset();  // the driver lets go of the rows, and of its locks
    reader_.reset();
}

DataError OdbcCursor::FieldError(std::size_t column) const {
    if (current_) {
        for (const auto& [failed, error] : current_->failures) {
            if (failed == column) {
                return error;
            }
        }
    }
    return reader_ ? reader_->FieldError(column) : Cursor::FieldError(column);
}

OdbcCursor::KeptRow OdbcCursor::Keep(std::span<const Cell> cells) const {
    // The values own their bytes from here on; those of the cells lie in buffers that the next
    // fetch overwrites. So does what is known of a field that couldn't be read.
    KeptRow kept;
    kept.values.reserve(cells.size());
    for (std::size_t k = 0; k < cells.size(); ++k) {
        kept.values.emplace_back(cells[k]);
        if (cells[k].Kind() == ValueKind::Unreadable) {
            kept.failures.emplace_back(k, reader_->FieldError(k));
        }
    }
    return kept;
}

void OdbcCursor::ShowKept() {
    for (std::size_t k = 0; k < cells_.size(); ++k) {
        cells_[k] = current_->values[k].AsCell();
    }
}

void OdbcCursor::TakeRowsIntoMemory() {
    try {
        // The row that is being looked at goes first: reading on overwrites it.
        if (on_row_) {
            current_ = Keep(cells_);
            ShowKept();
        }
        std::vector<Cell> cells(cells_.size());
        while (reader_->Fetch(cells)) {
            kept_.push_back(Keep(cells));
        }
    } catch (const DataError& error) {
        failure_ = error;
        // Rows that came before stay good: the error comes when the reader gets behind them.
    } catch (const std::bad_alloc&) {
        failure_ = OutOfMemory(
            "the rest of the rows: close the recordset before the next statement on its connection",
            link_->Source());
    }
    EndReading();
}

}  // namespace vantry::odbc
