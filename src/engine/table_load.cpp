// The frame around the rows of one table. Each step is a statement of the error scope and none asks
// whether the one before it went well: a source that can't be reached ends in as many logged errors
// as are allowed, as users know it from old logs. Easy to get wrong: a loop condition that fails
// enters the loop, a table that is given up must flush what it has sent before it is reported, and
// rows that a late failure took back come off the counts that were right when they were made.

#include "engine/table_load.h"

#include "core/table_names.h"
#include "data/value_convert.h"
#include "engine/own_source.h"
#include "engine/run_log.h"
#include "files/file_lock.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <exception>
#include <functional>
#include <optional>
#include <utility>

namespace vantry {

std::chrono::duration<double> TargetPatience{60};

namespace {

double CountOf(const Cell& value) {
    const auto count = ToDouble(value);
    if (!count) {
        throw DataError(kErrTypeMismatch,
                        "The source's answer to the count of its rows is no number.");
    }
    return *count;
}

// A count from outside may be any number.
std::optional<std::int64_t> RowsOf(double total) {
    constexpr double kMostRows = 1e15;
    return total >= 0 && total < kMostRows ? std::optional(static_cast<std::int64_t>(total))
                                           : std::nullopt;
}

// So that a cancel is seen between two tries.
class ShortLockWaits {
public:
    ShortLockWaits() { file::SetLockTimeout(std::min(former_, std::chrono::milliseconds(100))); }
    ~ShortLockWaits() { file::SetLockTimeout(former_); }
    ShortLockWaits(const ShortLockWaits&) = delete;
    ShortLockWaits& operator=(const ShortLockWaits&) = delete;

private:
    std::chrono::milliseconds former_ = file::LockTimeout();
};

// Whether there is a row; it then counts as read. Throws where the source can't say.
bool StandsOnRow(RowLedger& ledger) {
    if (SrcRS->Eof()) {
        return false;
    }
    ledger.RowOpened();
    return true;
}

}  // namespace

// Each try waits as long as a lock is waited for, so without a common measure fifty rows would wait
// fifty times. The measure is the run's: another table of the same file would only wait again.
void AfterRefusal(LoadState& load, const DataError& error, const std::function<void()>& again) {
    if (error.Number() != kErrInUse || error.LostRows() > 0) {
        throw DataError(error);
    }
    const auto start = std::chrono::steady_clock::now();
    const auto waited = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    const double before = CurrentRunReport.WaitedForFiles();
    CurrentRunView->ShowWaiting(error.Description());
    const ShortLockWaits for_cancels;
    while (before + waited() < TargetPatience.count() && !CancelRequested()) {
        CurrentRunView->DoEvents();
        try {
            again();
            load.report.WaitedSeconds += waited();
            CurrentRunView->ShowWaiting("");
            return;
        } catch (const DataError& later) {
            if (later.Number() != kErrInUse || later.LostRows() > 0) {
                load.report.WaitedSeconds += waited();
                CurrentRunView->ShowWaiting("");
                throw;
            }
        }
    }
    load.report.WaitedSeconds += waited();
    // The patience of the run is used up: each further row would only fail in the same way.
    load.scope.LastError = true;
    load.report.LastStraw = ErrorText(error);
    CurrentRunView->ShowWaiting("");
    throw DataError(error);
}

void WalkRows(LoadState& load, RowStrategy& strategy) {
    strategy.Begin();
    while (load.scope.Enters([&] { return StandsOnRow(load.ledger); })) {
        load.scope.RowOK = true;
        // A cancel: End still runs, so that what was sent is flushed and the file gets its name.
        if (!strategy.TakeRow()) {
            break;
        }
    }
    strategy.End();
}

DataError NoTargetFor(const TableRec& source) {
    return {kErrUnspecified,
            "\"" + source.Name +
                "\" isn't loaded: the session names no target for it. Open the session in the "
                "wizard, choose the tables again and save it."};
}

std::string InsertHead(const TableRec& source, const TableRec& target) {
    std::string head = "INSERT INTO " + TargetTableForInsert(target.Name) + "(";
    for (const auto* row : MappedColumnsOf(source.TabID)) {
        head += TargetColumnInList(TargetColumnName(source, *row));
    }
    CutLast(head);
    return head + ") VALUES ";
}

// A large file is read as a whole, so the view waits for it. The connection is opened, asked and
// closed there; what failed is told here, step by step, as the log is the view's.
bool CountSourceRows(LoadState& load, const SourceStatements& statements, int cursor_type) {
    std::optional<double> count;
    const std::array<std::function<void()>, 3> steps{
        [&] { SrcRS->Open(statements.count, SourceConnStr, cursor_type, adLockReadOnly); },
        [&] { count = CountOf(SrcRS->Fields()[0].Value()); },
        // Before the rows are opened on the same object, also when the count failed.
        [&] { SrcRS->Close(); }};
    std::array<std::exception_ptr, 3> failures;
    CurrentRunView->WaitFor([&] {
        for (std::size_t i = 0; i < steps.size(); ++i) {
            try {
                steps[i]();
            } catch (...) {
                failures[i] = std::current_exception();
            }
        }
    });
    for (const auto& failure : failures) {
        load.scope([&] {
            if (failure != nullptr) {
                std::rethrow_exception(failure);
            }
        });
    }
    if (count) {
        load.rows.total = *count;
        load.report.RowsInSource = RowsOf(*count);
    }
    return count.has_value();
}

void OpenSourceRows(LoadState& load, const SourceStatements& statements, int cursor_type) {
    load.ledger.SetReading(statements.select, cursor_type);
    load.scope([&] {
        Waited([&] { SrcRS->Open(statements.select, SourceConnStr, cursor_type, adLockReadOnly); });
    });
    NoteRemarks(load);
}

// The log has its fixed lines; what the source remarks is told beside it.
void NoteRemarks(LoadState& load) {
    for (auto& remark : SrcRS->TakeRemarks()) {
        load.report.Remarks.push_back(std::move(remark));
    }
}

bool IsLongField(int type) {
    return IsLongType(type) || IsBinaryType(type) ||
           (type == adWChar && ThisTarget().wide_text_by_recordset);
}

bool HasLongFields(LoadState& load) {
    bool found = false;
    load.scope([&] {
        for (std::int32_t k = 0; k < SrcRS->Fields().Count(); ++k) {
            found = found || IsLongField(SrcRS->Fields()[k].Type());
        }
    });
    return found;
}

void StartBar(const LoadState& load) {
    CurrentRunView->SetBarMin(1);
    if (load.rows.total > 1) {
        constexpr double kLongestBar = 1e15;  // a count from outside may be any number
        CurrentRunView->SetBarMax(
            static_cast<std::int64_t>(std::min(load.rows.total, kLongestBar)));
    }
}

bool CancelRequested() {
    return TableCancelled != kFalse || SessionCancelled != kFalse;
}

bool StatementStopped = false;

void NoteCancelled() {
    StatementStopped = true;
    SessionCancelled = kTrue;
    TableCancelled = kTrue;
}

bool TargetIsServer() {
    const auto types = KindOf(TargetType).types;
    return types == TypeNames::Oracle || types == TypeNames::MySQL || types == TypeNames::MSSQL;
}

DatabaseLoad::DatabaseLoad(i16 i, const LoadRules& rules)
    : rules_(rules),
      ledger_(SrcTables.at(static_cast<std::size_t>(i)), ReportOf(i)),
      scope_(
          rules.error_limit,
          [this](auto description) {
              AppendLog(log_line::RowError(rows_.*rules_.shown_row, description));
          },
          [this](const auto& error) { ledger_.Failed(error); }),
      state_{SrcTables.at(static_cast<std::size_t>(i)),
             DstTables.at(static_cast<std::size_t>(i)),
             ReportOf(i),
             scope_,
             rows_,
             ledger_} {
    scope_.OnCancel = [this] {
        NoteCancelled();
        ledger_.OpenNotReached();
    };
}

void DatabaseLoad::OpenSource() {
    // SrcConn only proves that the source can be reached; the recordsets connect by the string, so
    // that count and rows each have a connection of their own. Its error comes first in the log.
    SrcConn = std::make_unique<Connection>();
    SrcConn->CursorLocation = adUseClient;
    scope_([] { Waited([] { SrcConn->Open(SourceConnStr); }); });
    SrcRS = std::make_unique<Recordset>();
    const auto statements =
        ReadingStatements(state_.source, MappedColumnsOf(state_.source.TabID), rules_.reading);
    const int cursor_type = ThisTarget().source_cursor;
    CountSourceRows(state_, statements, cursor_type);
    OpenSourceRows(state_, statements, CursorForRows(state_.source, state_.target, cursor_type));
}

void DatabaseLoad::Close() {
    NoteRemarks(state_);
    scope_([] { SrcRS->Close(); });
    AppendLog(log_line::RowsLoaded(rows_.loaded - scope_.LostRows));
    if (CancelRequested()) {
        AppendLog(log_line::LoadCancelled());
    }
}

void DatabaseLoad::Finish(bool whole) {
    if (!whole) {
        SettleGivenUp();
    }
    // A walk that ended outside a statement has logged an error that the scope didn't count.
    auto& report = state_.report;
    report.Errors = scope_.ErrorCount + (whole || scope_.ErrorCount > 0 ? 0 : 1);
    if (scope_.TargetLost) {
        ledger_.Lost(report.RowsLoaded, "The target was taken away or replaced during the load.");
        CountLostTarget();
    } else {
        report.RowsLoaded -= scope_.LostRows;
    }
    if (scope_.Cancelled) {
        ledger_.KeptNotReached();
    }
    // Behind Lost: what the target took back is told here, with values that are read again.
    ledger_.Finish();
    report.Outcome = !whole              ? TableOutcome::GivenUp
                     : CancelRequested() ? TableOutcome::Cancelled
                                         : TableOutcome::Loaded;
}

// Nothing of this table is where it was put. Of the tables before, in a target of one file, only a
// look at what is there now can tell.
void DatabaseLoad::CountLostTarget() {
    state_.report.RowsLoaded = 0;
    if (!ThisTarget().one_file) {
        return;
    }
    for (auto& table : CurrentRunReport.Tables) {
        table.RowsUnknown += std::exchange(table.RowsLoaded, 0);
    }
}

// The rows that were sent before the last error are to stay, or to be known as lost. A target that
// never opened has none, and its refusal to close is no news.
void DatabaseLoad::SettleGivenUp() {
    if (strategy_ == nullptr) {
        return;
    }
    try {
        strategy_->Settle();
    } catch (const DataError& error) {
        scope_.LostRows += error.LostRows();
        ledger_.Lost(error.LostRows(), error.Description());
        const bool lost = error.TargetLost() && !scope_.TargetLost;
        scope_.TargetLost = scope_.TargetLost || lost;
        if (error.LostRows() > 0 || lost) {
            AppendLog(log_line::RowError(rows_.*rules_.shown_row, error.Description()));
        }
    }
}

}  // namespace vantry
