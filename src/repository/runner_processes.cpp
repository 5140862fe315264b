// Runners are started, counted and watched by process number alone; what they did they say in their
// own logs. A runner gets a session of its own, so that a Ctrl-C for the scheduler isn't one for
// all of its loads, and signals as a fresh program has them. Easy to get wrong: waiting for any
// child takes those of others, a process that waits for its server looks like one that hangs, and
// after a restart the scheduler knows none of the runners that are still at work.

#include "repository/runner_processes.h"

#include "files/file_errors.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace vantry {
namespace {

// So that a machine that was asleep all night doesn't start forty runs at once.
constexpr std::size_t kAtOnce = 16;
// A run of this length no longer counts against them: it may hang, and must not starve the others.
constexpr std::chrono::minutes kLong{10};

// A runner that waits looks four times a second whether it has waited long enough: in ten minutes
// that takes some hundredths of a second.
constexpr std::int64_t kTicksOfNothing = 20;

// Fields 14 and 15 of the line that the system keeps about a process, counted from 1; the second
// may hold blanks and brackets. -1 when it can't be had.
std::int64_t TicksWorked(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(in, line);
    const auto name_end = line.rfind(')');
    if (name_end == std::string::npos) {
        return -1;
    }
    std::istringstream fields(line.substr(name_end + 1));
    std::string skipped;
    for (int k = 3; k < 14; ++k) {
        fields >> skipped;
    }
    std::int64_t user = 0;
    std::int64_t system = 0;
    fields >> user >> system;
    return fields ? user + system : -1;
}

// What a runner begins with: no input, no signals blocked, a session of its own.
class SpawnPlan {
public:
    explicit SpawnPlan(const std::string& error_file) {
        ::posix_spawn_file_actions_init(&actions_);
        ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        ::posix_spawn_file_actions_addopen(&actions_,
                                           STDERR_FILENO,
                                           error_file.c_str(),
                                           O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW,
                                           S_IRUSR | S_IWUSR);
        ::posix_spawnattr_init(&attributes_);
        sigset_t none;
        sigset_t all;
        // The scheduler blocks SIGTERM and SIGINT to wait for them. A runner that inherited that
        // could not be cancelled.
        ::sigemptyset(&none);
        ::sigfillset(&all);
        ::posix_spawnattr_setsigmask(&attributes_, &none);
        ::posix_spawnattr_setsigdefault(&attributes_, &all);
        ::posix_spawnattr_setflags(&attributes_,
                                   static_cast<short>(POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK |
                                                      POSIX_SPAWN_SETSIGDEF));
    }
    ~SpawnPlan() {
        ::posix_spawnattr_destroy(&attributes_);
        ::posix_spawn_file_actions_destroy(&actions_);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    int Spawn(const std::string& program, const std::string& argument, pid_t& pid) {
        std::string words[2] = {program, argument};
        char* arguments[] = {words[0].data(), words[1].data(), nullptr};
        return ::posix_spawn(&pid, program.c_str(), &actions_, &attributes_, arguments, ::environ);
    }

private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

}  // namespace

void RunnerProcesses::Start(i32 session_id) {
    SpawnPlan plan(error_file_);
    Process process;
    const int error = plan.Spawn(program_, std::to_string(session_id), process.pid);
    if (error != 0) {
        throw file::SystemError(program_, "started", error);
    }
    process.started = std::chrono::steady_clock::now();
    process.worked_at = process.started;
    // A second start of the same session would lose the first one's number; the scheduler hands out
    // none that is running.
    running_[session_id] = process;
}

std::size_t RunnerProcesses::Room() const {
    const auto now = std::chrono::steady_clock::now();
    // The old ones are counted out, not ended: a load of hours is as legitimate as one that hangs.
    std::size_t recent = 0;
    for (const auto& [id, process] : running_) {
        recent += now - process.started < kLong ? 1 : 0;
    }
    return kAtOnce - std::min(kAtOnce, recent);
}

std::vector<RunnerProcesses::Ended> RunnerProcesses::TakeEnded() {
    std::vector<Ended> ended;
    for (auto process = running_.begin(); process != running_.end();) {
        int status = 0;
        // Each by its number: waiting for any child would take those of a library or a test.
        const pid_t pid = ::waitpid(process->second.pid, &status, WNOHANG);
        if (pid == 0) {
            ++process;
            continue;
        }
        const std::string how = WIFSIGNALED(status)
                                    ? "was ended by signal " + std::to_string(WTERMSIG(status))
                                    : "ended with exit code " + std::to_string(WEXITSTATUS(status));
        const bool whole = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        ended.push_back({process->first, whole, how});
        process = running_.erase(process);
    }
    return ended;
}

std::vector<RunnerProcesses::Hanging> RunnerProcesses::TakeHanging() {
    const auto now = std::chrono::steady_clock::now();
    std::vector<Hanging> hanging;
    for (auto& [id, process] : running_) {
        const auto worked = TicksWorked(process.pid);
        // A process whose work can't be read counts as working: better no warning than a false one.
        if (worked < 0 || worked - process.worked > kTicksOfNothing) {
            process.worked = worked;
            process.worked_at = now;
            process.told = false;
        } else if (now - process.worked_at >= idle_limit_ && !process.told) {
            // Once for each time that it falls silent: it may hang for days, and the log is read by
            // people.
            process.told = true;
            hanging.push_back({id, process.pid});
        }
    }
    return hanging;
}

}  // namespace vantry
