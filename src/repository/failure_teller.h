#pragma once
// Tells of a session that the scheduler had started and that didn't end with 0: a note on the
// desktop, and the command of "Vantry.ini" (OnFailure), which gets the path of the run's summary as
// its last argument. Both are processes of their own that nobody waits for.

#include "core/session_state.h"

#include <sys/types.h>

#include <string>
#include <vector>

namespace vantry {

class FailureTeller {
public:
    // `runner` shows the note: "RUNNER --tell-failure NAME HOW LOG".
    explicit FailureTeller(std::string runner) : runner_(std::move(runner)) {}

    struct Failure {
        std::string session_name;
        std::string how;       // "ended with exit code 2"
        std::string log_file;  // empty: the session has none, and no summary
    };
    // Why the command couldn't be started; empty when all is well, or there is none.
    std::string Tell(const Failure& failure);
    // Takes up the processes that have ended.
    void Reap();

private:
    int Start(std::vector<std::string> words);

    std::string runner_;
    std::vector<pid_t> started_;
};

}  // namespace vantry
