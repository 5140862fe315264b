// The words of the log, one function a line. They are searched by users' scripts and compared with
// logs of earlier runs: odd spellings, blanks and line breaks are part of them. Easy to get wrong:
// "exceed 50" stands also where the limit is the 51st error, and minutes of an elapsed time aren't
// reduced by its hours.

#include "engine/run_log.h"

#include "data/value_text.h"

#include <algorithm>
#include <iterator>

namespace vantry {

RunView* CurrentRunView = nullptr;

namespace {

// Counted here, not asked of the view: a link to a table's lines needs a number in any view.
std::int64_t LastLine = 0;

std::int64_t BreaksIn(std::string_view text) {
    return std::count(text.begin(), text.end(), '\n');
}

constexpr std::string_view kLineBreak = "\r\n";

template <typename... Pieces>
std::string Join(const Pieces&... pieces) {
    std::string text;
    (text.append(pieces), ...);
    return text;
}

// The present date and time in the machine's general form.
std::string PresentTime() {
    std::string text;
    AppendDateTime(Now(), text);
    return text;
}

std::int64_t SecondsOf(const DateTime& moment) {
    return moment.day * std::int64_t{86'400} + moment.nanos / kNanosPerSecond;
}

// Boundaries crossed are counted, not time passed: 0:59:59 to 1:00:00 is one minute.
// Days before the calendar's day 0 count down: round towards the past.
std::int64_t MinutesOf(const DateTime& moment) {
    const auto seconds = SecondsOf(moment);
    return (seconds >= 0 ? seconds : seconds - 59) / 60;
}

}  // namespace

void StartLog(std::string_view line) {
    // A former run's log goes, and the user sees at once that this one has begun.
    LastLine = BreaksIn(line);
    CurrentRunView->SetLogText(line);
    CurrentRunView->Repaint();
}

void AppendLog(std::string_view line) {
    AppendLogCaretKept(line);
    CurrentRunView->CaretToEnd();
}

void AppendLogCaretKept(std::string_view line) {
    LastLine += 1 + BreaksIn(line);
    CurrentRunView->AppendLogText(Join(kLineBreak, line));
}

void ContinueLog(std::string_view text) {
    LastLine += BreaksIn(text);
    CurrentRunView->AppendLogText(text);
    CurrentRunView->CaretToEnd();
}

std::int64_t LastLogLine() {
    return LastLine;
}

std::string ElapsedText(const DateTime& from, const DateTime& to) {
    const auto minutes = MinutesOf(to) - MinutesOf(from);
    const auto seconds = SecondsOf(to) - SecondsOf(from);
    return Join(std::to_string(minutes / 60),
                " Hrs ",
                std::to_string(seconds / 60),
                " Min ",
                std::to_string(seconds % 60),
                " Sec");
}

ClockReading ReadClock() {
    ClockReading reading;
    do {
        reading = {Now(), LocalUtcOffset()};
        // The clock may change between the two calls: time and offset must be of one side.
    } while (LocalUtcOffset() != reading.utc_offset);
    return reading;
}

DateTime OnTheClockOf(const ClockReading& earlier, const ClockReading& later) {
    DateTime moment = later.local;
    moment.nanos += (earlier.utc_offset - later.utc_offset) * kNanosPerSecond;
    for (; moment.nanos < 0; --moment.day) {
        moment.nanos += kNanosPerDay;
    }
    for (; moment.nanos >= kNanosPerDay; ++moment.day) {
        moment.nanos -= kNanosPerDay;
    }
    // A clock that was set back must not give a table a negative time.
    return std::max(moment, earlier.local);
}

namespace log_line {

std::string Started() {
    return Join("Started loading at :", PresentTime());
}

std::string TableElapsed(std::string_view elapsed) {
    return Join(" Time Elapsed :", elapsed);
}

std::string EndTime() {
    return Join("End Time is :", PresentTime());
}

std::string SessionElapsed(std::string_view elapsed) {
    return Join("Total Time Elapsed for Session:", elapsed);
}

std::string_view Finished() {
    return "*******( F.I.N.I.S.H )*********";
}

std::string AboutToDrop(std::string_view target) {
    return Join("About to Drop Table :", target);
}

std::string Dropped(std::string_view target) {
    return Join(target, " Table dropped");
}

std::string DropFailed(std::string_view target, std::string_view description) {
    return Join(target, " Table Cannot be Dropped", kLineBreak, description);
}

std::string AboutToDelete(std::string_view target) {
    return Join("About to delete existing rows from ", target);
}

std::string Deleted(std::string_view target) {
    return Join("Existing Rows deleted succesfully from table ", target);
}

std::string DeleteFailed(std::string_view target, std::string_view description) {
    return Join("Error deleting rows from table ", target, kLineBreak, description);
}

// These three end in a line break of their own: an empty line follows in the log.
std::string AboutToCreate(std::string_view source) {
    return Join("About To Create Table ", source, kLineBreak);
}

std::string Created(std::string_view target) {
    return Join(target, " Table Created Successfully", kLineBreak);
}

std::string CreateFailed(std::string_view target) {
    return Join("Error Creating Table ", target, kLineBreak);
}

std::string AboutToInsert(std::string_view source, std::string_view target) {
    return Join("About to Insert Rows from ", source, " to ", target);
}

std::string AboutToInsertMySQL(std::string_view target) {
    return Join("About to Insert Rows in ", target, " Table");
}

// The data source's words stand on a line of their own, so that scripts can match the first line
// whatever the driver says.
std::string RowError(std::int64_t row, std::string_view description) {
    return Join("Error Loading Row:", std::to_string(row), kLineBreak, description);
}

std::string Aborting(std::string_view source) {
    return Join("Aborting Loading Rows for Table :", source, " As Errors Exceeded 50 Allowed");
}

std::string RowsLoaded(std::int64_t rows) {
    return Join(std::to_string(rows), " Rows Loaded");
}

std::string_view LoadCancelled() {
    return "User Requested to cancel loading";
}

// Runs to text files have their own wording throughout, down to the blank in place of the colon.
std::string TextStarted() {
    return Join("Started Loading at ", PresentTime());
}

std::string AboutToWrite(std::string_view file) {
    return Join("About to Start Loading Rows in :", file);
}

std::string_view LongColumns() {
    return "Table Contains Long Datatypes. Cannot Create Fixed Length File. Pl Choose Delimited "
           "Format or De-Select the Long Columns.";
}

std::string_view SkippingTable() {
    return "Skipping table";
}

std::string_view TextAborting() {
    return "Aborting loading as Errors exceed 50 allowed";
}

std::string_view TextFinished() {
    return "******( FINISH )*******";
}

std::string_view TextCancelled() {
    return "User Requested to abort loading";
}

bool TellsOfFailure(std::string_view line) {
    constexpr std::string_view kBeginnings[] = {"Error Loading Row:",
                                                "Error Creating Table ",
                                                "Error deleting rows from table ",
                                                "Aborting Loading Rows for Table :",
                                                "Aborting loading as Errors",
                                                "Table Contains Long Datatypes."};
    return line.ends_with(" Table Cannot be Dropped") ||
           std::any_of(std::begin(kBeginnings), std::end(kBeginnings), [&](std::string_view start) {
               return line.starts_with(start);
           });
}

}  // namespace log_line
}  // namespace vantry
