#include "files/early_writeout.h"

#include <fcntl.h>

#include <algorithm>
#include <chrono>

namespace vantry::file {
namespace {

constexpr std::uint64_t kStep = 1024 * 1024;
// What was written last stays in memory: a short file does as a whole, and of a long one what the
// disk is still busy with.
constexpr std::uint64_t kKept = 4 * kStep;
// The order to write is given in far less, unless the disk's queue is full and the thread that
// gives it waits.
constexpr std::chrono::milliseconds kMostForAStep(10);

}  // namespace

void EarlyWriteout::Wrote(const File& file, std::uint64_t end) noexcept {
    const std::uint64_t next = end / kStep * kStep;
    // Once the system has refused or made this thread wait, it is left alone: writing early only
    // helps.
    if (over_ || next <= begun_) {
        return;
    }
    const auto start = std::chrono::steady_clock::now();
    const int told = ::sync_file_range(file.Descriptor(),
                                       static_cast<off_t>(begun_),
                                       static_cast<off_t>(next - begun_),
                                       SYNC_FILE_RANGE_WRITE);
    over_ = told != 0 || std::chrono::steady_clock::now() - start > kMostForAStep;
    begun_ = next;
    if (next > kKept && !keeps_memory_) {
        // Once more those that weren't on the disk the last times.
        const std::uint64_t from = next - std::min(next, 2 * kKept);
        (void)::posix_fadvise(file.Descriptor(),
                              static_cast<off_t>(from),
                              static_cast<off_t>(next - kKept - from),
                              POSIX_FADV_DONTNEED);
    }
}

}  // namespace vantry::file
