// VYTimer: stays in memory and starts the runner for each saved session that is due. With
// --install-autostart it has the desktop start it at each login instead, with --remove-autostart no
// longer; it never does so by itself. The repository is the one in the program's own folder. Ends
// with SIGTERM or SIGINT. Exits with 0, with 6 when another one works for this repository, 64 for
// other arguments, 3 for anything else that keeps it from starting.

#include "core/folders.h"
#include "core/session_state.h"
#include "data/error_text.h"
#include "data/value_text.h"
#include "programs/failed_writes.h"
#include "programs/no_core_file.h"
#include "repository/autostart.h"
#include "repository/program_lock.h"
#include "repository/timer_service.h"

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <optional>
#include <string_view>

namespace {

using namespace vantry;  // NOLINT(google-build-using-namespace): a program of one page

sigset_t AwaitedSignals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGCHLD}) {
        ::sigaddset(&signals, signal);
    }
    return signals;
}

// The end of a runner ends the wait as well, so that it is logged in time.
bool IsToldToEnd(std::chrono::milliseconds wait) {
    const sigset_t signals = AwaitedSignals();
    timespec left{};
    left.tv_sec = wait.count() / 1000;
    left.tv_nsec = wait.count() % 1000 * 1'000'000;
    const int signal = ::sigtimedwait(&signals, nullptr, &left);
    return signal == SIGTERM || signal == SIGINT;
}

int Work() {
    const std::string folder = ApplicationFolder();
    InitSharedState(folder);
    // Before any session is read: two schedulers would start each of them twice.
    const auto lock = ProgramLock::Take(JoinPath(LogFolder(folder), "VYTimer.lock"));
    if (!lock) {
        std::fprintf(stderr, "VYTimer: another one works for this repository already.\n");
        return 6;
    }
    // Blocked, so that one that comes during a look waits for the next sigtimedwait.
    const sigset_t signals = AwaitedSignals();
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    ::signal(SIGHUP, SIG_IGN);  // the terminal that started it may close
    TimerService service(folder, Now);
    service.Log("Scheduler started, process " + std::to_string(::getpid()) + ".");
    do {
        // A machine that travels changes its time zone.
        ::tzset();
        service.Look();
    } while (!IsToldToEnd(service.Wait()));
    // Runners that are under way go on: they are programs of their own.
    service.Log("Scheduler ended.");
    return 0;
}

// Nothing: no such argument.
std::optional<int> SetAutostart(std::string_view argument) {
    if (argument == "--install-autostart") {
        const std::string file = InstallAutostart(JoinPath(ProgramFolder(), "VYTimer"));
        std::printf("VYTimer will be started at each login: %s\n", file.c_str());
        return 0;
    }
    if (argument == "--remove-autostart") {
        const std::string file = RemoveAutostart();
        std::puts(file.empty() ? "VYTimer wasn't started at login."
                               : "VYTimer is no longer started at login.");
        return 0;
    }
    return std::nullopt;
}

}  // namespace

int main(int argc, char** argv) {
    RefuseCoreFile();
    MakeFailedWritesErrors();
    try {
        if (argc != 1) {
            const auto done = argc == 2 ? SetAutostart(argv[1]) : std::nullopt;
            if (!done) {
                std::fprintf(stderr, "usage: VYTimer [--install-autostart | --remove-autostart]\n");
            }
            return done.value_or(64);
        }
        return Work();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "VYTimer: %s\n", ErrorText(error).c_str());
        return 3;
    }
}
