#pragma once
// The memory that this process has in use now.

#include <cstddef>
#include <fstream>

namespace vantry::test {

inline std::size_t ResidentBytes() {
    std::size_t total = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace vantry::test
