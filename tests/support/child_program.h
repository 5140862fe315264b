#pragma once
// Runs another program and takes what it writes: independent readers of our files.

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantry::test {

// The standard output of a program found on the path; what it says of errors is thrown away.
inline std::string OutputOf(const std::vector<std::string>& words) {
    std::string command;
    for (const auto& word : words) {
        command += '\'';
        for (const char c : word) {
            command += c == '\'' ? std::string("'\\''") : std::string(1, c);
        }
        command += "' ";
    }
    FILE* const pipe = ::popen((command + "2>/dev/null").c_str(), "re");
    if (pipe == nullptr) {
        throw std::runtime_error("can't start " + command);
    }
    std::string output;
    char buffer[65536];
    while (const auto got = std::fread(buffer, 1, sizeof buffer, pipe)) {
        output.append(buffer, got);
    }
    ::pclose(pipe);
    return output;
}

inline bool HasProgram(const std::string& name) {
    return !OutputOf({"sh", "-c", "command -v " + name}).empty();
}

}  // namespace vantry::test
