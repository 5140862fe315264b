#pragma once
// Looks for a program among the processes of the machine.

#include <optional>
#include <string_view>

namespace vantry {

// Whether a process of that name is alive; letter case doesn't count. Names are those that the
// system keeps: it cuts them off behind 15 bytes.
bool IsProcessRunning(std::string_view name);
// Its number.
std::optional<int> FindProcess(std::string_view name);

}  // namespace vantry
