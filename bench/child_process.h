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

struct Seconds {
    double wall = 0;  // from the start of the program to its end
    double cpu = 0;   // its own and its children's work; a server's isn't in it
};

// Throws std::runtime_error with what the program wrote as errors when it can't be started or
// fails.
Seconds RunTimed(const Command& command);

// Whether there is such a program in PATH.
bool IsInstalled(const std::string& program);

}  // namespace vantry::bench
