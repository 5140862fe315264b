#pragma once
// The runner processes that the scheduler has started. They outlive it: each is a session of its
// own, and nothing here waits for one.

#include "core/session_state.h"

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vantry {

class RunnerProcesses {
public:
    // What runners say on standard error goes to the end of `error_file`. One that has computed
    // nothing for `idle_limit` seems to hang.
    RunnerProcesses(std::string program,
                    std::string error_file,
                    std::chrono::milliseconds idle_limit)
        : program_(std::move(program)),
          error_file_(std::move(error_file)),
          idle_limit_(idle_limit) {}

    bool IsRunning(i32 session_id) const { return running_.contains(session_id); }
    // Throws DataError when the program can't be started.
    void Start(i32 session_id);
    // How many more may run at once. One that has been going for long doesn't count: it may hang.
    std::size_t Room() const;

    struct Ended {
        i32 SessionID = 0;
        bool Whole = false;  // with 0
        std::string How;     // "ended with exit code 0", "was ended by signal 9"
    };
    std::vector<Ended> TakeEnded();

    struct Hanging {
        i32 SessionID = 0;
        pid_t Pid = 0;
    };
    // Those that seem to hang, each once, unless it has gone on in between.
    std::vector<Hanging> TakeHanging();

private:
    struct Process {
        pid_t pid = 0;
        std::chrono::steady_clock::time_point started;
        // Its time on a processor when it was last seen to have gone on, in ticks of the clock.
        std::int64_t worked = 0;
        std::chrono::steady_clock::time_point worked_at;
        bool told = false;
    };
    std::string program_;
    std::string error_file_;
    std::chrono::milliseconds idle_limit_;
    std::map<i32, Process> running_;
};

}  // namespace vantry
