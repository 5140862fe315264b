#pragma once
// What the program does on a system that has no thread left for it.

#include "support/child_process.h"

#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace vantry::test {

inline bool CanStartThread() {
    try {
        std::thread([] {}).join();
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

// Runs `holds` in a process that can't start threads and says what it said; false too when the
// process died of it. Whoever is root becomes nobody there: `folder` is opened to him.
template <typename Check>
bool HoldsWithoutThreads(const std::filesystem::path& folder, Check&& holds) {
    namespace fs = std::filesystem;
    fs::permissions(folder, fs::perms::all);
    for (const auto& entry : fs::directory_iterator(folder)) {
        fs::permissions(entry, fs::perms::all);
    }
    return RunChild([&](const Report&) {
               constexpr uid_t kNobody = 65534;
               const rlimit none{0, 0};
               if (::setrlimit(RLIMIT_NPROC, &none) != 0 ||
                   (::geteuid() == 0 && ::setresuid(kNobody, kNobody, kNobody) != 0) ||
                   CanStartThread() || !holds()) {
                   throw std::runtime_error("it doesn't hold");
               }
           })
        .whole;
}

}  // namespace vantry::test
