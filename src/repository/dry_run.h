#pragma once
// What a run of a saved session would send, without a run: nothing is written, neither a log nor a
// summary, and no lock is held that would keep a run away.

#include "repository/session_runner.h"

#include <functional>
#include <string>

namespace vantry {

// Gives the statements of all tables to `print`, each table with the counts of its rows. 0, or
// kRunNotStarted and kRunRefused as a run has them; what is wrong goes to `tell` of the
// surroundings. Never throws.
RunnerExit PrintRun(i32 session_id,
                    const RunnerSurroundings& surroundings,
                    const std::function<void(const std::string&)>& print);

}  // namespace vantry
