#pragma once
// The window of a run that the runner shows: log, bar, row counter, Cancel and Close.

#include "repository/session_runner.h"

namespace vantry {

// Whether the display that the environment names is there: a session that has ended leaves its name
// behind, and a program that asks for its window then is ended at once. Tried in a process of its
// own; `argc` and `argv` are the program's.
bool CanShowWindow(int argc, char** argv);

// Runs the session in a window and returns its exit code once the window is closed; the run itself
// doesn't wait for that. `argc` and `argv` are the program's.
int ShowRunInWindow(int& argc, char** argv, i32 session_id, RunnerSurroundings surroundings);

}  // namespace vantry
