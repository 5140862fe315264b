#pragma once
// The window of a run that the runner shows: log, bar, row counter, Cancel and Close.

#include "repository/session_runner.h"

namespace vantry {

// Whether the display that the environment names is there: a session that has ended leaves its name
// behind, and a program that asks for its window then is ended at once. Tried in a process of its
// own, which stays connected until the trial is over: a server without any connection may start
// anew, and refuse the next one meanwhile.
class DisplayTrial {
public:
    // `argc` and `argv` are the program's.
    DisplayTrial(int argc, char** argv);
    ~DisplayTrial() { End(); }
    DisplayTrial(const DisplayTrial&) = delete;
    DisplayTrial& operator=(const DisplayTrial&) = delete;

    bool Works() const { return works_; }
    void End();

private:
    bool works_ = true;  // where no trial can be made
    int process_ = -1;
    int connection_ = -1;
};

// Runs the session in a window and returns its exit code once the window is closed; the run itself
// doesn't wait for that. `argc` and `argv` are the program's. Ends the trial.
int ShowRunInWindow(
    int& argc, char** argv, i32 session_id, RunnerSurroundings surroundings, DisplayTrial& trial);

}  // namespace vantry
