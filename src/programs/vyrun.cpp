// VYRun <SessionID> [ShowOutput] [--verify]: runs a saved session of the repository in the
// program's own folder. With "ShowOutput" the run is shown in a window, or on standard output where
// there is no display; otherwise a terminal gets one line that renews itself. With "--verify" the
// targets are read back and compared. With "--check" in place of these nothing is run: what the
// types and the data of the session lose is written on standard output; with "--dry-run" the
// statements of a run. Exit codes: repository/session_runner.h.

#include "core/folders.h"
#include "core/session_state.h"
#include "core/settings.h"
#include "data/answer_watch.h"
#include "data/message_text.h"
#include "programs/console_view.h"
#include "programs/failed_writes.h"
#include "programs/failure_notice.h"
#include "programs/no_core_file.h"
#include "programs/run_window.h"
#include "programs/terminal_line.h"
#include "repository/dry_run.h"
#include "repository/session_check.h"
#include "repository/session_runner.h"

#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace vantry;  // NOLINT(google-build-using-namespace): a program of one page

// Set by the handler; the run asks for it between its steps.
volatile sig_atomic_t CancelSignal = 0;

// The second signal, of either kind, ends the program at once: the files stand that.
void CatchCancel() {
    struct sigaction action {};
    action.sa_handler = [](int number) {
        if (CancelSignal != 0) {
            ::signal(number, SIG_DFL);
            ::raise(number);  // ends the program when this handler is left
        }
        CancelSignal = 1;
        CancelWaits();
    };
    // Reads and writes of files go on; waits for a server are ended by CancelWaits.
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
}

bool NamesDisplay() {
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        const char* value = std::getenv(name);
        if (value != nullptr && *value != '\0') {
            return true;
        }
    }
    return false;
}

int Check(const RunnerArguments& arguments) {
    CheckSurroundings surroundings;
    surroundings.application_folder = ApplicationFolder();
    surroundings.cancel_requested = [] { return CancelSignal != 0; };
    surroundings.print = [](const std::string& lines) {
        std::fputs(WithoutControls(lines).c_str(), stdout);
        // A table at a time, as it is checked: behind a pipe nothing would be seen until the end.
        std::fflush(stdout);
    };
    surroundings.tell = [](const std::string& line) {
        std::fprintf(stderr, "VYRun: %s\n", WithoutControls(line).c_str());
    };
    InitSharedState(surroundings.application_folder);
    return CheckSavedSession(arguments.session_id, surroundings);
}

int Run(const RunnerArguments& arguments, int& argc, char** argv) {
    RunnerSurroundings surroundings;
    surroundings.application_folder = ApplicationFolder();
    surroundings.version = VANTRY_VERSION;
    surroundings.cancel_requested = [] { return CancelSignal != 0; };
    surroundings.tell = [](const std::string& line) {
        std::fprintf(stderr, "VYRun: %s\n", WithoutControls(line).c_str());
    };
    InitSharedState(surroundings.application_folder);
    for (const auto& fault : TakeSettingsFaults()) {
        surroundings.tell(fault);
        TellInRunnerLog(surroundings.application_folder, fault);
    }
    // The argument only adds: what the settings ask for is done in any case.
    CurrentSettings.VerifyRuns |= arguments.verify;
    if (arguments.dry_run) {
        return PrintRun(arguments.session_id, surroundings, [](const std::string& text) {
            std::fputs(WithoutControls(text).c_str(), stdout);
        });
    }
    if (arguments.show_output && NamesDisplay()) {
        DisplayTrial trial(argc, argv);
        // A scheduler's session may name a display that has gone: the run goes on without a window.
        if (trial.Works()) {
            return ShowRunInWindow(argc, argv, arguments.session_id, surroundings, trial);
        }
    }
    ConsoleView console;
    TerminalLine line;
    const bool renews_line = !arguments.show_output && TerminalLine::HasTerminal();
    surroundings.display = arguments.show_output ? static_cast<RunView*>(&console)
                           : renews_line         ? &line
                                                 : nullptr;
    const auto tell = surroundings.tell;
    surroundings.tell = [&](const std::string& text) {
        // A message on standard error would stand in the middle of the line that renews itself.
        line.Clear();
        tell(text);
    };
    const int code = RunSavedSession(arguments.session_id, surroundings);
    if (arguments.show_output) {
        std::printf("\n");
    }
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    RefuseCoreFile();
    MakeFailedWritesErrors();
    CatchCancel();
    // As the scheduler starts it.
    if (argc == 5 && std::string_view(argv[1]) == "--tell-failure") {
        const std::string name = argv[2];
        const std::string how = argv[3];
        const std::string log = argv[4];
        return ShowFailureNotice(argc, argv, name, how, log);
    }
    const auto arguments = ParseRunnerArguments(argc, argv);
    if (!arguments) {
        const std::string usage =
            "usage: VYRun SESSIONID [ShowOutput] [--verify]\n"
            "       VYRun SESSIONID --check | --dry-run";
        std::fprintf(stderr, "%s\n", usage.c_str());
        TellInRunnerLog(ApplicationFolder(), "Wrong arguments; " + usage);
        return kRunUsage;
    }
    return arguments->check ? Check(*arguments) : Run(*arguments, argc, argv);
}
