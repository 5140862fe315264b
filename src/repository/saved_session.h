#pragma once
// Brings a saved session back into the session state, for the runner: all that a save wrote, and
// nothing else. What a save leaves out (a qualifier that is neither kind of quote) stays empty.

#include "core/session_state.h"
#include "repository/schedule.h"

#include <optional>
#include <string>
#include <vector>

namespace vantry {

struct SavedSession {
    i32 SessionID = 0;
    std::string SessionName;
    std::string LogFileName;
    std::optional<DateTime> DateCreated;
    ScheduleRec Schedule;
};

// Fills the session's variables and arrays, and CurrentSessionID. Nothing if there is no such
// session: the state is then as it was. Throws DataError when the repository can't be read.
std::optional<SavedSession> LoadSession(i32 session_id);

// The same without the session state: what the editing window begins with.
std::optional<SavedSession> FindSession(Connection& repository, i32 session_id);

// Every session with its schedule, by id; the session state isn't touched.
std::vector<SavedSession> ListSchedules();

}  // namespace vantry
