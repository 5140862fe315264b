#include "repository/failure_teller.h"

#include "core/desktop_bus.h"
#include "core/settings.h"
#include "repository/run_summary.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace vantry {

// Without a shell, nothing on its standard streams, and with no signal blocked.
int FailureTeller::Start(std::vector<std::string> words) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (auto& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    ::posix_spawnattr_init(&attributes);
    sigset_t none;
    sigset_t all;
    ::sigemptyset(&none);
    ::sigfillset(&all);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    ::posix_spawnattr_setsigdefault(&attributes, &all);
    ::posix_spawnattr_setflags(
        &attributes,
        static_cast<short>(POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
    pid_t pid = 0;
    const int error =
        ::posix_spawnp(&pid, arguments[0], &actions, &attributes, arguments.data(), ::environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error == 0) {
        started_.push_back(pid);
    }
    return error;
}

std::string FailureTeller::Tell(const Failure& failure) {
    // Not told where it can't be: the scheduler's log has the failure.
    if (HasDesktopBus()) {
        Start({runner_, "--tell-failure", failure.session_name, failure.how, failure.log_file});
    }
    auto command = CurrentSettings.OnFailure;
    if (command.empty()) {
        return {};
    }
    // Always one more word: a command that counts its arguments finds it where it always is.
    command.push_back(failure.log_file.empty() ? "" : SummaryFileOf(failure.log_file));
    const std::string program = command.front();
    const int error = Start(std::move(command));
    return error == 0 ? std::string()
                      : "The command of Vantry.ini, \"" + program +
                            "\", can't be started: " + std::strerror(error) + ".";
}

void FailureTeller::Reap() {
    std::erase_if(started_, [](pid_t pid) { return ::waitpid(pid, nullptr, WNOHANG) != 0; });
}

}  // namespace vantry
