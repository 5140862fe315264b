#pragma once
// Runs a saved session from the repository to its end, as the runner does it: log file, summary,
// run record, one run of a session at a time. A program's main and a test call it alike.

#include "core/session_state.h"
#include "engine/run_view.h"
#include "repository/run_summary.h"

#include <functional>
#include <optional>
#include <string>

namespace vantry {

// What the runner's process ends with.
enum RunnerExit : int {
    kRunWhole = 0,       // every row of every table loaded
    kRunWithErrors = 1,  // finished, with error lines
    kRunTableLost = 2,   // a table was given up or couldn't be prepared
    kRunNotStarted = 3,  // couldn't connect or start
    kRunDiffers = 4,     // loaded, and a verification found the content to differ
    kRunCancelled = 5,
    kRunRefused = 6,  // no such session, or it is running already
    kCheckFound = 7,  // of --check: values will be changed or refused
    kRunUsage = 64,
};

struct RunnerArguments {
    i32 session_id = 0;
    bool show_output = false;
    bool verify = false;
    // No run, so each stands alone: repository/session_check, a list of statements.
    bool check = false;
    bool dry_run = false;
};
// "<SessionID> [ShowOutput] [--verify]" in any order behind the number, or "<SessionID> --check" or
// "--dry-run"; nothing if the arguments are others.
std::optional<RunnerArguments> ParseRunnerArguments(int count, const char* const* arguments);

struct RunnerSurroundings {
    std::string application_folder;  // of the repository, and of the folder "log"
    std::string version;
    RunView* display = nullptr;  // shows the run besides the log file
    // Asked at the hand-overs of the run; true once the user has cancelled.
    std::function<bool()> cancel_requested = [] { return false; };
    // Takes what the log can't, and what must be seen at once: one line at a time.
    std::function<void(const std::string&)> tell = [](const std::string&) {};
    // Called with the session's name when the repository has told it.
    std::function<void(const std::string&)> found = [](const std::string&) {};
    // Called at the end of a run that was begun, with what its summary file gets.
    std::function<void(const RunSummary&)> ended = [](const RunSummary&) {};
};

// Never throws. Everything that went wrong goes to `tell` and into the log.
RunnerExit RunSavedSession(i32 session_id, const RunnerSurroundings& surroundings);

// A line with the time in "log/VYRun.log": for what belongs to no session's log.
void TellInRunnerLog(const std::string& application_folder, const std::string& line);

// Why everyone could change what a session does: the repository or its folder can be written by
// everyone. Empty when not.
std::string RepositoryWarning(const std::string& application_folder);

}  // namespace vantry
