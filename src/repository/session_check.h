#pragma once
// Checks a saved session before it runs: what its types and its data lose on their way. Reads only;
// neither log nor summary is written.

#include "core/session_state.h"

#include <functional>
#include <string>

namespace vantry {

struct CheckSurroundings {
    std::string application_folder;  // of the repository
    std::function<bool()> cancel_requested = [] { return false; };
    // A piece of the report, lines with their ends.
    std::function<void(const std::string&)> print = [](const std::string&) {};
    // What isn't part of it: why it can't be checked.
    std::function<void(const std::string&)> tell = [](const std::string&) {};
};

// Ends with kRunWhole where all values are kept, kCheckFound where some are changed or refused,
// kRunNotStarted where a table couldn't be checked, kRunCancelled, kRunRefused where there is no
// such session (repository/session_runner.h). Never throws.
int CheckSavedSession(i32 session_id, const CheckSurroundings& surroundings);

}  // namespace vantry
