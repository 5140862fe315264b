// The walk over a session's tables: prepare, note a creation, load, time, rename a polled file.
// Easy to get wrong: what a table's failure leaves behind. It ends neither the walk nor the record,
// and the result of the table before it goes on deciding whether a polled file is renamed.

#include "engine/run_session.h"

#include "core/kinds.h"
#include "data/answer_watch.h"
#include "data/value_text.h"
#include "engine/left_targets.h"
#include "engine/loaded_file.h"
#include "engine/row_loader.h"
#include "engine/row_loader_mysql.h"
#include "engine/run_log.h"
#include "engine/run_report.h"
#include "engine/table_load.h"
#include "engine/target_creation.h"
#include "engine/target_preparation.h"
#include "engine/verification.h"
#include "files/left_files.h"

#include <chrono>
#include <optional>

namespace vantry {
namespace {

ClockReading SessionStart;  // of the run that is going on

bool Prepare(i16 i) {
    // In this order, and none behind one that failed: a table that couldn't be dropped is neither
    // made nor filled.
    const auto steps = PreparationOf(SrcTables[static_cast<std::size_t>(i)]);
    StatementStopped = false;
    if (steps.drops && DropTargetTable(i) != kTrue) {
        return false;
    }
    // A session whose table is gone would fail in each later run: what is dropped is made anew
    // before a cancel is heeded.
    std::optional<HoldCancel> whole;
    if (steps.drops && steps.creates) {
        whole.emplace();
    }
    return (!steps.creates || CreateTargetTable(i) == kTrue) &&
           (!steps.empties || DeleteTargetRows(i) == kTrue);
}

// Before any row moves: a table whose load fails later is there all the same.
void NoteCreation(i16 i) {
    const auto table = static_cast<std::size_t>(i);
    if (SrcTables[table].FirstTimeLoadOpt == "CREATE") {
        CreatedTables[table].TabID = SrcTables[table].TabID;
        CreatedTables[table].Name = SrcTables[table].Name;
        CreatedTables[table].FirstTimeLoadOpt = "CREATED";
        if (TableCreatedHook != nullptr) {
            TableCreatedHook(i);
        }
    }
}

// Tables of a few rows never come to a loader's own hand-over: a cancel would wait through hundreds
// of them.
void LetCancelIn() {
    const bool cancelled = SessionCancelled != kFalse;
    CurrentRunView->DoEvents();
    if (!cancelled && SessionCancelled != kFalse) {
        AppendLog(log_line::LoadCancelled());
    }
}

void WalkTables() {
    // A table that couldn't be prepared leaves the result of the one before it standing, and the
    // renaming of a polled file goes by that.
    i16 load_result = kFalse;
    for (std::size_t table = 0; table < SrcTables.size(); ++table) {
        const auto i = static_cast<i16>(table);
        TableCancelled = kFalse;
        const ClockReading table_start = ReadClock();
        TableStartTime = table_start.local;
        const auto start = std::chrono::steady_clock::now();
        ReportOf(i).Outcome = TableOutcome::NotPrepared;
        ReportOf(i).LogLine = LastLogLine();
        if (table >= DstTables.size()) {
            AppendLog(NoTargetFor(SrcTables[table]).Description());
            ++ReportOf(i).Errors;
            ReportOf(i).FirstError = NoTargetFor(SrcTables[table]).Description();
            // A table that couldn't be prepared is left out, and the next one is taken.
        } else if (Prepare(i)) {
            NoteCreation(i);
            TableVerification verification(i);
            load_result =
                ThisTarget().loader == Loader::Batches ? LoadRowsMySQL(i) : LoadRowsGeneric(i);
            TableEndTime = OnTheClockOf(table_start, ReadClock());
            ContinueLog(log_line::TableElapsed(ElapsedText(TableStartTime, TableEndTime)));
            if (const auto unknown = UnknownRowsText(ReportOf(i)); !unknown.empty()) {
                AppendLog(unknown);
            }
            CurrentRunView->Repaint();
            verification.Finish();
        } else if (StatementStopped) {
            // The table's preparation was stopped: its line says by which words.
            ReportOf(i).Outcome = TableOutcome::Cancelled;
            AppendLog(log_line::LoadCancelled());
        } else if (ReportOf(i).Errors == 0) {
            ReportOf(i).Errors = 1;  // the failed preparation is in the log alone
        }
        ReportOf(i).Seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (ThisSource().polled && load_result == kTrue) {
            MoveLoadedFile(SrcTables[table].Name);
        }
        LetCancelIn();
        if (SessionCancelled != kFalse) {
            break;
        }
    }
}

}  // namespace

void WriteRunRecord() {
    // Other readers of the repository know the column as always 0.
    const bool failed = false;  // a table's failure stands in the log alone
    const std::string session = std::to_string(CurrentSessionID);
    const DateTime now = Now();
    // Dates and times as texts of the machine's form: the columns are texts, and the session list
    // shows them as they stand.
    RepoConn = std::make_unique<Connection>();
    RepoConn->Open(RepoConnStr);
    RepoConn->Execute("update sessions set LastRunDate=" + QuoteChar + ShortDate(now) + QuoteChar +
                      ",LastRunTime=" + QuoteChar + TimeAmPm(now) + QuoteChar +
                      ",SessionError=" + (failed ? "1" : "0") + " where sessionid=" + session);
    if (ThisTarget().loader != Loader::Files) {
        for (const auto& table : CreatedTables) {
            if (table.FirstTimeLoadOpt == "CREATED") {
                RepoConn->Execute("Update vytabs set TableExists=1,FirstTimeLoadOpt=" + QuoteChar +
                                  QuoteChar + " where vytabs.SessionId=" + session +
                                  " and vytabs.tabid=" + std::to_string(table.TabID));
            }
        }
    }
    RepoConn->Close();
    RepoConn.reset();
}

void StartSessionClock() {
    SessionStart = ReadClock();
    SessionStartTime = SessionStart.local;
}

void FinishRunLog() {
    SessionEndTime = OnTheClockOf(SessionStart, ReadClock());
    CurrentRunView->ClearRowCounter();
    AppendLog(log_line::EndTime());
    AppendLog(log_line::SessionElapsed(ElapsedText(SessionStartTime, SessionEndTime)));
    AppendLog(log_line::Finished());
}

void RunSession(const std::string& /*ignored*/) {
    SessionCancelled = kFalse;
    TableCancelled = kFalse;
    StartSessionClock();
    StartLog(log_line::Started());
    // One element a table, empty until that table is created for the first time.
    CreatedTables.assign(SrcTables.size(), TableRec());
    StartRunReport();
    const file::LeftFilesWatch watch;
    WalkTables();
    // From here on a failure is the record's, and the tables are loaded all the same.
    CurrentRunReport.Walked = true;
    if (CurrentSessionID >= 1 && SessionNotSaved == kFalse) {
        WriteRunRecord();
    }
    LookAtTargetsAgain(CurrentRunReport.Tables);
    FinishRunLog();
}

}  // namespace vantry
