#pragma once
// The run's log: how lines reach it, and the text of every line. The log is what the user keeps of
// a run, and other tools search it: the words stand exactly as they are, odd spellings included.

#include "data/value.h"
#include "engine/run_view.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vantry {

// Replaces the whole log and shows it at once.
void StartLog(std::string_view line);
// Adds a line and moves the caret to the end: the usual way in which a line gets into the log.
void AppendLog(std::string_view line);
// Adds to the last line.
void ContinueLog(std::string_view text);
// Adds a line and leaves the caret where it is.
void AppendLogCaretKept(std::string_view line);

// Lines of the log so far, less one: the number of its last line.
std::int64_t LastLogLine();

// "H Hrs M Min S Sec". Hours are whole minutes between the two moments by 60, minutes whole seconds
// by 60: 90 minutes read "1 Hrs 90 Min 0 Sec". What is counted are the boundaries of minutes and
// seconds that lie between.
std::string ElapsedText(const DateTime& from, const DateTime& to);

// A moment of the clock with the offset that local time had then. The clock may be set, and goes
// back at the end of summer time, while a run goes on.
struct ClockReading {
    DateTime local;
    std::int64_t utc_offset = 0;  // seconds
};
ClockReading ReadClock();
// `later` on the clock of `earlier`, for ElapsedText; never before it.
DateTime OnTheClockOf(const ClockReading& earlier, const ClockReading& later);

namespace log_line {

// Session into a database.
std::string Started();
std::string TableElapsed(std::string_view elapsed);  // continues the line of the row count
std::string EndTime();                               // of a session into text files, too
std::string SessionElapsed(std::string_view elapsed);
std::string_view Finished();

// Preparation and creation of a target table.
std::string AboutToDrop(std::string_view target);
std::string Dropped(std::string_view target);
std::string DropFailed(std::string_view target, std::string_view description);
std::string AboutToDelete(std::string_view target);
std::string Deleted(std::string_view target);
std::string DeleteFailed(std::string_view target, std::string_view description);
std::string AboutToCreate(std::string_view source);
std::string Created(std::string_view target);
std::string CreateFailed(std::string_view target);  // the description follows as a line of its own

// Rows.
std::string AboutToInsert(std::string_view source, std::string_view target);
std::string AboutToInsertMySQL(std::string_view target);
std::string RowError(std::int64_t row, std::string_view description);
std::string Aborting(std::string_view source);
std::string RowsLoaded(std::int64_t rows);
std::string_view LoadCancelled();

// Session into text files.
std::string TextStarted();
std::string AboutToWrite(std::string_view file);
std::string_view LongColumns();
std::string_view SkippingTable();
std::string_view TextAborting();
std::string_view TextFinished();
std::string_view TextCancelled();

// Whether a line is the first one that tells of a failure, for marks beside the log.
bool TellsOfFailure(std::string_view line);

}  // namespace log_line
}  // namespace vantry
