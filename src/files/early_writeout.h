#pragma once
// Brings a long file to the disk while it is still being written, and gives back the memory of what
// has got there: a copy of many gigabytes then doesn't push everybody else's files out of memory,
// and its own next pages come from those that it has just given back. Only hints to the system: no
// byte of the file depends on them, and where the disk can't keep up they end.

#include "files/file.h"

#include <cstdint>

namespace vantry::file {

// One for each file, which is written from its start on.
class EarlyWriteout {
public:
    EarlyWriteout() = default;
    // Of a file that grows from `start` on and is used again soon: its memory stays.
    explicit EarlyWriteout(std::uint64_t start) : begun_(start), keeps_memory_(true) {}
    // Of a file that nobody waits for at its end: as much of it as `length` is left to the system,
    // and stays in memory, where its first reader finds it.
    static EarlyWriteout Behind(std::uint64_t length) {
        EarlyWriteout later;
        later.begun_ = length;
        return later;
    }

    // The file is written up to `end`.
    void Wrote(const File& file, std::uint64_t end) noexcept;

private:
    std::uint64_t begun_ = 0;  // bytes that are on their way or on the disk
    bool keeps_memory_ = false;
    bool over_ = false;
};

}  // namespace vantry::file
