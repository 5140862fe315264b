#pragma once
// Runs another program and takes what it writes: independent readers of our files.

#include <string>
#include <vector>

namespace vantry::test {

// Whether the program is found on the path.
bool HasProgram(const std::string& name);

struct ProgramResult {
    int exit_code = -1;
    std::string output;  // of the standard output
};
// Throws std::runtime_error if it can't be started.
ProgramResult RunProgram(const std::vector<std::string>& arguments);

}  // namespace vantry::test
