#pragma once
// Runs a program to its end and measures it from the outside.

#include <filesystem>
#include <string>
#include <vector>

namespace vantry::bench {

struct Command {
    std::vector<std::string> words;  // the program, found in PATH, and its arguments
    std::filesystem::path in;        // empty: nothing to read
    std::filesystem::path out;       // created anew; empty: thrown away
    // "name=value", added to the environment: what must not be seen in a list of processes.
    std::vector<std::string> environment;
};

// Wall-clock seconds from the start of the program to its end. Throws std::runtime_error with what
// it wrote as errors when it can't be started or fails.
double RunTimed(const Command& command);

// Whether there is such a program in PATH.
bool IsInstalled(const std::string& program);

}  // namespace vantry::bench
