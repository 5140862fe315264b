#pragma once
// Work in a process of its own, which may be killed in it.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <functional>
#include <stdexcept>

namespace vantry::test {

using Report = std::function<void()>;  // one step more is done

struct Ended {
    std::size_t steps = 0;
    bool killed = false;
    bool whole = false;  // it came to its end without an error
};

// Runs `work` in a child, and `meanwhile` beside it.
inline Ended RunChild(
    const std::function<void(const Report&)>& work,
    const std::function<void(pid_t)>& meanwhile = [](pid_t) {}) {
    int ends[2];
    if (::pipe(ends) != 0) {
        throw std::runtime_error("pipe");
    }
    const pid_t child = ::fork();
    char mark = 1;
    if (child == 0) {
        try {
            work([&] { static_cast<void>(!::write(ends[1], &mark, 1)); });
        } catch (const std::exception& error) {
            std::fprintf(stderr, "in the child: %s\n", error.what());
            ::_exit(1);
        }
        ::_exit(0);
    }
    ::close(ends[1]);
    meanwhile(child);
    Ended ended;
    while (::read(ends[0], &mark, 1) == 1) {
        ++ended.steps;
    }
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    ended.killed = WIFSIGNALED(status);
    ended.whole = status == 0;
    return ended;
}

// Runs `work` in a child, and when it is done `meanwhile`, while the child waits to be killed.
inline void WhileChildWaits(const std::function<void()>& work,
                            const std::function<void(pid_t)>& meanwhile) {
    int ends[2];
    if (::pipe(ends) != 0) {
        throw std::runtime_error("pipe");
    }
    RunChild(
        [&](const Report&) {
            work();
            static_cast<void>(!::write(ends[1], "", 1));
            ::pause();
        },
        [&](pid_t child) {
            char mark = 0;
            ::close(ends[1]);
            static_cast<void>(!::read(ends[0], &mark, 1));
            meanwhile(child);
            ::kill(child, SIGKILL);
        });
    ::close(ends[0]);
}

}  // namespace vantry::test
