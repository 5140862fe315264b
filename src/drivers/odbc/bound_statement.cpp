// Rows that travel together keep what rows one by one have: each is judged by itself, and of each
// it is known whether it is stored, or said that it isn't known. Drivers differ in what they do
// behind a refused row, so each kind has a way of its own. Easy to get wrong: a row must never be
// sent twice where the first try may have stored it; what a driver leaves in the array of status
// where it didn't get to a row is rubbish; and behind a lost connection no status is worth
// anything.

#include "drivers/odbc/bound_statement.h"

#include "data/cancelled.h"
#include "data/cell_copies.h"
#include "drivers/odbc/errors.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

namespace vantry::odbc {
namespace {

constexpr SQLUSMALLINT kUntouched = 0xFFFF;  // no status that a driver gives

SQLPOINTER AsAttribute(std::size_t number) {
    return reinterpret_cast<SQLPOINTER>(number);
}

bool IsStored(SQLUSMALLINT status) {
    return status == SQL_PARAM_SUCCESS || status == SQL_PARAM_SUCCESS_WITH_INFO;
}

// SQL Server's word for a statement of which nothing has been run.
bool WasNotPrepared(const std::vector<DiagnosticRecord>& records) {
    constexpr int kNotPrepared = 8180;
    return std::any_of(records.begin(), records.end(), [](const DiagnosticRecord& record) {
        return record.native == kNotPrepared;
    });
}

StatementHandle PreparedStatement(Link& link, std::string_view sql) {
    link.Idle();
    auto statement = link.NewStatement();
    link.Prepare(statement, sql);
    return statement;
}

}  // namespace

BoundStatement::BoundStatement(std::shared_ptr<Link> link,
                               std::string_view sql,
                               std::span<const ParameterInfo> infos)
    : link_(std::move(link)),
      sql_(sql),
      most_kept_(link_->GetTraits().blocks == Blocks::None
                     ? 1
                     : std::max<std::size_t>(link_->GetTuning().sent_rows, 1)),
      statement_(PreparedStatement(*link_, sql)),
      parameters_(*link_, statement_, infos, most_kept_) {
    CheckParameterCount();
}

BoundStatement::~BoundStatement() {
    statement_.Reset();  // before the buffers that it is bound to
}

void BoundStatement::CheckParameterCount() const {
    SQLSMALLINT count = 0;
    // A driver that can't count reports the wrong number when the statement is executed.
    if (SQL_SUCCEEDED(SQLNumParams(statement_.Get(), &count)) &&
        static_cast<std::size_t>(count) != parameters_.Count()) {
        throw WrongParameterCount(
            static_cast<std::size_t>(count), parameters_.Count(), link_->Source());
    }
}

SQLRETURN BoundStatement::Executed() {
    return link_->Asking(statement_, [this] { return SQLExecute(statement_.Get()); });
}

// A refused long value stays with the statement of some servers, and would be refused with every
// row behind it: those go by a fresh one.
SQLRETURN BoundStatement::ExecuteWithLongValues() {
    try {
        const auto result = parameters_.SendLongValues();
        link_->Check(result, statement_);
        return result;
    } catch (const DataError&) {
        try {
            link_->Prepare(statement_, sql_);
        } catch (const DataError&) {  // the next row fails by it
        }
        throw;
    }
}

std::int64_t BoundStatement::Execute(std::span<const Cell> values) {
    if (values.size() != parameters_.Count()) {
        throw WrongParameterCount(parameters_.Count(), values.size(), link_->Source());
    }
    CellCopies copies;
    if (link_->IsStreaming()) {
        // The values may look at the row of a cursor on this very connection, which moves when its
        // rows are taken into memory.
        values = copies.Take(values);
    }
    link_->Idle();
    TakeRows(1);
    for (std::size_t k = 0; k < values.size(); ++k) {
        parameters_.Set(k, values[k]);
    }
    // MariaDB's driver keeps the former buffer of a parameter whose data now comes in pieces, and
    // sends what lies there in the place of the parameter behind it.
    if (parameters_.TakeTurnedLong() && link_->GetTraits().dialect == Dialect::MySql) {
        link_->Prepare(statement_, sql_);
    }
    PrepareAgain();
    auto result = Executed();
    if (result == SQL_NEED_DATA) {
        result = ExecuteWithLongValues();
    }
    CheckExecuted(result);
    SQLLEN affected = -1;
    SQLRowCount(statement_.Get(), &affected);
    // One row was sent, whether the driver can count it or not.
    const auto change = link_->ChangeIn(result, statement_, affected < 0 ? 1 : affected);
    link_->DropFurtherResults(statement_);
    if (change) {
        throw DataError(*change);
    }
    return affected;
}

// FreeTDS (1.3.17) would go on by no statement at all when the server couldn't prepare it.
void BoundStatement::CheckExecuted(SQLRETURN result) {
    if (!SQL_SUCCEEDED(result) && result != SQL_NO_DATA) {
        const auto records =
            ReadDiagnostics(SQL_HANDLE_STMT, statement_.Get(), link_->GetTraits().wide_calls);
        prepare_again_ = WasNotPrepared(records);
        throw DataError(link_->ErrorOf(records));
    }
}

void BoundStatement::PrepareAgain() {
    if (std::exchange(prepare_again_, false)) {
        link_->Prepare(statement_, sql_);
    }
}

// ---- Rows that travel together

Statement::Keeping BoundStatement::Keep(std::span<const Cell> values) {
    if (values.size() != parameters_.Count()) {
        throw WrongParameterCount(parameters_.Count(), values.size(), link_->Source());
    }
    return most_kept_ == 1 ? Keeping::Alone : parameters_.Keep(values);
}

void BoundStatement::SendKept(RowOutcomes& outcomes) {
    outcomes.clear();
    const auto rows = parameters_.Kept();
    try {
        link_->Idle();
        while (parameters_.Kept() > 0) {
            if (parameters_.Kept() == 1) {
                SendOne(outcomes);
            } else if (link_->GetTraits().blocks == Blocks::EachRow) {
                SendEachRow(outcomes);
            } else if (link_->GetTraits().blocks == Blocks::AllOrNothing) {
                SendAllOrNothing(outcomes);
            } else {
                SendToTheFirstRefused(outcomes);
            }
            DropAfterStop(outcomes);
        }
    } catch (const DataError& error) {  // of a call before anything was sent
        outcomes.resize(rows, error);
        parameters_.DropKept(parameters_.Kept());
    }
}

// Behind a row that the user's cancel has stopped none is sent any more.
void BoundStatement::DropAfterStop(RowOutcomes& outcomes) {
    if (!outcomes.empty() && outcomes.back() && IsCancelled(*outcomes.back())) {
        DataError stopped = *outcomes.back();
        stopped.SetArrivedRows(0);  // whatever is known of the one before them
        outcomes.resize(outcomes.size() + parameters_.Kept(), stopped);
        parameters_.DropKept(parameters_.Kept());
    }
}

void BoundStatement::TakeRows(std::size_t rows) {
    if (rows == set_rows_) {
        return;
    }
    status_.assign(rows, kUntouched);
    auto* handle = statement_.Get();
    const bool block = rows > 1;
    SQLSetStmtAttr(handle, SQL_ATTR_PARAM_BIND_TYPE, AsAttribute(SQL_PARAM_BIND_BY_COLUMN), 0);
    SQLSetStmtAttr(handle, SQL_ATTR_PARAM_STATUS_PTR, block ? status_.data() : nullptr, 0);
    SQLSetStmtAttr(handle, SQL_ATTR_PARAMS_PROCESSED_PTR, block ? &processed_ : nullptr, 0);
    link_->Check(SQLSetStmtAttr(handle, SQL_ATTR_PARAMSET_SIZE, AsAttribute(rows), 0), statement_);
    set_rows_ = rows;
}

SQLRETURN BoundStatement::ExecuteKept(std::size_t rows) {
    TakeRows(rows);
    parameters_.BindKept();
    std::fill(status_.begin(), status_.end(), kUntouched);
    processed_ = 0;
    PrepareAgain();
    return Executed();
}

void BoundStatement::SendOne(RowOutcomes& outcomes) {
    std::optional<DataError> outcome;
    try {
        CheckExecuted(ExecuteKept(1));
        link_->DropFurtherResults(statement_);
    } catch (const DataError& error) {
        outcome = error;
    }
    outcomes.push_back(std::move(outcome));
    parameters_.DropKept(1);
}

void BoundStatement::SendEachRow(RowOutcomes& outcomes) {
    const auto rows = parameters_.Kept();
    const auto result = ExecuteKept(rows);
    std::vector<DiagnosticRecord> records;
    if (result != SQL_SUCCESS) {
        records = ReadBlockDiagnostics(statement_.Get(), link_->GetTraits().wide_calls, rows);
    }
    SQLFreeStmt(statement_.Get(), SQL_CLOSE);
    if (link_->WasStopped()) {
        // All were sent. FreeTDS gives the status of a stored row to the one that was under way,
        // and throws away what the server says of those behind it.
        auto unknown = link_->ErrorOf(records);
        unknown.SetArrivedRows(std::nullopt);
        outcomes.resize(outcomes.size() + rows, unknown);
        parameters_.DropKept(rows);
        return;
    }
    if (link_->Watch().Ended() != AnswerWatch::End::None || IsAnswerLost(records) ||
        (result != SQL_SUCCESS && link_->IsDead())) {
        // All of them were sent; what the server did with them it couldn't say any more.
        outcomes.resize(outcomes.size() + rows, link_->ErrorOf(records));
        parameters_.DropKept(rows);
        return;
    }
    std::size_t judged = 0;
    for (; judged < rows; ++judged) {
        const auto status = status_[judged];
        if (status == SQL_PARAM_ERROR) {
            std::vector<DiagnosticRecord> of_row;
            std::copy_if(records.begin(),
                         records.end(),
                         std::back_inserter(of_row),
                         [&](const DiagnosticRecord& record) { return record.row == judged + 1; });
            outcomes.emplace_back(link_->ErrorOf(of_row.empty() ? records : of_row));
        } else if (IsStored(status)) {
            outcomes.emplace_back();
        } else {
            break;
        }
    }
    // Those that the driver says it didn't use stay kept, and are sent next.
    parameters_.DropKept(judged);
    if (judged == 0 && WasNotPrepared(records)) {
        prepare_again_ = true;
        while (parameters_.Kept() > 0) {
            SendOne(outcomes);
        }
    } else if (judged < rows && (status_[judged] != SQL_PARAM_UNUSED || judged == 0)) {
        // Not even that the driver didn't get to them is known.
        auto unknown = link_->ErrorOf(records);
        unknown.SetArrivedRows(std::nullopt);
        outcomes.resize(outcomes.size() + rows - judged, unknown);
        parameters_.DropKept(rows - judged);
    }
}

void BoundStatement::SendAllOrNothing(RowOutcomes& outcomes) {
    const auto rows = parameters_.Kept();
    link_->CommitEach(false);
    std::optional<DataError> refusal;
    bool commits = false;
    try {
        link_->Check(ExecuteKept(rows), statement_);
        link_->DropFurtherResults(statement_);
        commits = true;
        link_->EndTransaction(true);
    } catch (const DataError& error) {
        refusal = error;
        if (!commits) {
            refusal->SetArrivedRows(0);  // ends with its connection, if that is lost
        }
        SQLFreeStmt(statement_.Get(), SQL_CLOSE);
    }
    bool undone = false;
    if (refusal && !link_->IsLost()) {
        try {
            link_->EndTransaction(false);
            undone = true;
        } catch (const DataError&) {
            refusal->SetArrivedRows(std::nullopt);
        }
    }
    if (!link_->IsLost()) {
        link_->CommitEach(true);
    }
    // Over a connection that the server has ended at the commit the driver rolls back well, too.
    if (undone && commits && !ServerAnswers()) {
        undone = false;
        refusal->SetArrivedRows(std::nullopt);
    }
    // One by one now, so that only those that are refused are missing in the end.
    while (undone && !IsCancelled(*refusal) && parameters_.Kept() > 0) {
        SendOne(outcomes);
        DropAfterStop(outcomes);
    }
    outcomes.resize(outcomes.size() + parameters_.Kept(), refusal);
    parameters_.DropKept(parameters_.Kept());
}

bool BoundStatement::ServerAnswers() {
    try {
        const auto question = link_->NewStatement();
        link_->ExecuteDirect(question, "SELECT 1");
        return true;
    } catch (const DataError&) {
        return false;
    }
}

void BoundStatement::SendToTheFirstRefused(RowOutcomes& outcomes) {
    const auto rows = parameters_.Kept();
    const auto result = ExecuteKept(rows);
    if (SQL_SUCCEEDED(result) || result == SQL_NO_DATA) {
        link_->DropFurtherResults(statement_);
        outcomes.resize(outcomes.size() + rows);
        parameters_.DropKept(rows);
        return;
    }
    const auto error = link_->ErrorOf(statement_);
    SQLFreeStmt(statement_.Get(), SQL_CLOSE);
    // One at least was refused, whatever the driver counts.
    const auto stored = std::min<std::size_t>(processed_, rows - 1);
    outcomes.resize(outcomes.size() + stored);
    outcomes.emplace_back(error);
    parameters_.DropKept(stored + 1);
}

}  // namespace vantry::odbc
