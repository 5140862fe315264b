#pragma once
// The window of a run that the runner shows: log, bar, row counter, Cancel and Close.

#include "repository/session_runner.h"

namespace vantry {

// Runs the session in a window and returns its exit code once the window is closed; the run itself
// doesn't wait for that. `argc` and `argv` are the program's.
int ShowRunInWindow(int& argc, char** argv, i32 session_id, RunnerSurroundings surroundings);

}  // namespace vantry
