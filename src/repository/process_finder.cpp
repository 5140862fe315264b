#include "repository/process_finder.h"

#include "data/connection_string.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

namespace vantry {
namespace {

// "pid (name) state ...": the name may hold anything, brackets too.
bool IsAliveUnder(const std::string& stat, std::string_view name) {
    const auto open = stat.find('(');
    const auto close = stat.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close + 2 >= stat.size()) {
        return false;
    }
    const char state = stat[close + 2];
    // A zombie has ended and only waits for its parent.
    return state != 'Z' && state != 'X' &&
           EqualsNoCase(std::string_view(stat).substr(open + 1, close - open - 1), name);
}

}  // namespace

std::optional<int> FindProcess(std::string_view name) {
    std::error_code error;
    std::filesystem::directory_iterator process("/proc", error);
    while (!error && process != std::filesystem::directory_iterator()) {
        // A process that ends while it is looked at leaves an unreadable file, which matches
        // nothing.
        const auto folder = process->path();
        if (folder.filename().string().find_first_not_of("0123456789") == std::string::npos) {
            std::ifstream in(folder / "stat");
            // The system keeps fifteen letters of a program's name.
            if (IsAliveUnder({std::istreambuf_iterator<char>(in), {}}, name.substr(0, 15))) {
                return std::stoi(folder.filename().string());
            }
        }
        process.increment(error);
    }
    return std::nullopt;
}

bool IsProcessRunning(std::string_view name) {
    return FindProcess(name).has_value();
}

}  // namespace vantry
