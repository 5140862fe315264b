#pragma once
// The texts of the statements that save a session. They are built by plain joining: nothing is
// escaped, so a value that holds its own quote breaks the statement, and the database's error tells
// the user. A text source's connection string and a delimiter stand in single quotes, because they
// may hold double ones.

#include "core/session_state.h"

#include <string>

namespace vantry {

// What the session page adds to the session: its name, its log file and the five schedule columns
// as they are written into the statement, quotes included, or the word Null.
struct SessionSave {
    std::string SesName;
    std::string LogName;
    std::string SesFreq = "Null";
    std::string SesRunDate = "Null";
    std::string SesRunTime = "Null";
    std::string SesRunDay = "Null";
    std::string SesWeekDay = "Null";
};

std::string SessionsInsert(i32 session_id, const SessionSave& save, const DateTime& now);
// Of table `i` of the session.
std::string TableInsert(i32 session_id, std::size_t i);
std::string ColumnInsert(i32 session_id, i16 tab_id, const ColMapRec& column);

// Name, log file and schedule of a saved session, as its editing window changes them.
std::string SessionUpdate(i32 session_id, const SessionSave& save);

// The five schedule values; times and dates are what the pickers hold.
void SetDaily(SessionSave& save, const DateTime& time);
void SetWeekly(SessionSave& save, const DateTime& time, const std::string& mask);
void SetMonthly(SessionSave& save, const DateTime& time, int day);
// The editing window writes the day without quotes, and a blank one as it is: the statement then
// fails.
void SetMonthlyUnquoted(SessionSave& save, const DateTime& time, const std::string& day);
void SetOnce(SessionSave& save, const DateTime& date, const DateTime& time);
void SetHourly(SessionSave& save, int hours, const std::string& minute_mark);
void SetMinutely(SessionSave& save, int minutes);

// The three tables of a repository.
extern const char* const kCreateSessions;
extern const char* const kCreateVYTabs;
extern const char* const kCreateSrcDCols;

}  // namespace vantry
