#pragma once
// A note on the desktop that a scheduled session failed, with an action that opens its log.

#include <string>

namespace vantry {

// Shows it and stays until it is closed, for an hour at most. Silent where there is no desktop that
// takes notes. Returns the program's exit code.
int ShowFailureNotice(int& argc,
                      char** argv,
                      const std::string& session_name,
                      const std::string& how,
                      const std::string& log_file);

}  // namespace vantry
