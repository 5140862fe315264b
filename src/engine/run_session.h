#pragma once
// Runs the session in memory against a database target: prepares each target table, moves its rows,
// writes the log, and writes the run's record into the repository. A failing table is logged and
// the next one is taken; a failure of the repository goes through to the caller.
//
// CurrentRunView must be set. The session's arrays are read and never changed, so a run can be
// repeated.

#include <string>

namespace vantry {

// The argument is ignored.
void RunSession(const std::string& ignored);

// What RunSession ends with, for a caller that goes on after the repository failed it: the record
// of the run, by which a table that was created isn't created again, and the closing lines of the
// log.
void WriteRunRecord();
// Sets SessionStartTime; FinishRunLog counts from there, whatever the clock does meanwhile.
void StartSessionClock();
void FinishRunLog();

}  // namespace vantry
