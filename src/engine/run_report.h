#pragma once
// What a run did, table by table, as numbers: exit codes and the summary for machines come from
// here, never from the log's words. The loaders, the text writer and the run driver fill it as they
// go; one run at a time has it.
//
// Rows are counted where they are: read when the source stood on them, loaded when the target took
// them. The log's own counts differ from these where a batch is refused: it counts as loaded there,
// and stays so, because users compare a run's log with those of earlier runs.

#include "core/session_state.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vantry {

enum class TableOutcome : std::uint8_t {
    NotReached,   // the run ended before it
    NotPrepared,  // couldn't be dropped, emptied, created or opened for writing
    GivenUp,      // too many errors
    Cancelled,
    Loaded,  // walked to its end; rows may have failed
};
const char* OutcomeName(TableOutcome outcome);  // "not reached", "not prepared", ...

// What the comparison of a table's content found (engine/verification).
struct Verification {
    enum class Result : std::uint8_t { NotAsked, Same, Differs, NotDone };
    Result result = Result::NotAsked;
    std::int64_t target_before = 0;  // rows of the target
    std::int64_t target_after = 0;
    std::vector<std::string> columns;       // of the target, whose content differs
    std::optional<std::int64_t> rows;       // that differ, where both sides keep their order
    std::optional<std::int64_t> first_row;  // of them, counted among those that were loaded
    std::string why_not;
};

struct TableReport {
    std::string Source;
    std::string Target;
    std::int64_t RowsRead = 0;
    std::int64_t RowsLoaded = 0;
    // Sent, and the answer was lost: they are in the target or not, and only a look at it can tell.
    std::int64_t RowsUnknown = 0;
    // Told in the reject file: those that failed and those of which it isn't known.
    std::int64_t RowsRejected = 0;
    std::optional<std::int64_t> RowsInSource;  // by the count before the load
    int Errors = 0;                            // statements that failed, those of no row among them
    // The words of the first of them. Where a source or target can't be opened, those behind it say
    // no more than that nothing is open.
    std::string FirstError;
    // The words of the one that ended the table by itself: a target that was taken away or that
    // stayed locked. Empty where it was their number.
    std::string LastStraw;
    // Texts of a delimited file that a spreadsheet would take for formulas; of lines that the file
    // refused, too.
    std::int64_t FormulaTexts = 0;
    double Seconds = 0;
    double WaitedSeconds = 0;  // of them, for a target file that another program held
    TableOutcome Outcome = TableOutcome::NotReached;
    Verification Verified;
    // What the source says of the rows beside them, in sentences.
    std::vector<std::string> Remarks;
    std::int64_t LogLine = 0;  // the last line of the log when the table began

    std::int64_t RowsFailed() const { return RowsRead - RowsLoaded - RowsUnknown; }
    // Of a table that ended early: the number of the first row that wasn't reached, from 1. Nothing
    // when all were.
    std::optional<std::int64_t> FirstRowNotReached() const;
};

struct RunReport {
    std::vector<TableReport> Tables;  // one per element of SrcTables
    double WaitedForFiles() const;    // seconds, of all tables
    bool Walked = false;  // all tables are behind: what fails now is the run's record alone
};
extern RunReport CurrentRunReport;

// Why a table was given up or couldn't be prepared, by its first error; empty of any other.
std::string FailureText(const TableReport& report);
// What the user is told of rows that may have arrived; empty when there are none.
std::string UnknownRowsText(const TableReport& report);

// What became of a run, for people: how many tables, which of them have errors, how many rows.
struct RunOutcome {
    std::vector<std::size_t>
        Failed;  // tables with errors, or with rows that are not known to be in
    std::size_t NotReached = 0;
    std::int64_t RowsLoaded = 0;
};
RunOutcome OutcomeOfRun();

// One table "not reached" per element of SrcTables.
void StartRunReport();
// Of table `i` of the session; there whenever it is asked for.
TableReport& ReportOf(i16 i);

// Called as soon as the run has created the table `i` of SrcTables for the first time, before its
// rows; null, or set by what must know of it even if the run dies.
extern void (*TableCreatedHook)(i16 i);

}  // namespace vantry
