#pragma once
// Writes a file piece by piece on a second thread, while the caller makes the next piece. That
// pays: the kernel takes as long to give a new file its pages as a run takes to make the lines for
// them.

#include "files/background_jobs.h"
#include "files/early_writeout.h"
#include "files/file.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <span>

namespace vantry::text {

class WriteBehind {
public:
    // The next writes are another file's; none is under way. Where its writer waits for the disk
    // at its end, the disk gets it early.
    void NewFile(bool is_waited_for);
    // Begins to write `data` at `offset`, a file's pieces in their order; file and data stand still
    // until Await. One write at a time. A system that has no thread left gets the data written
    // before this returns.
    void Begin(file::File& file, std::uint64_t offset, std::span<const std::byte> data);
    // Until the write is over: what it failed with, or null.
    std::exception_ptr Await();

private:
    void Write();

    file::File* file_ = nullptr;
    std::uint64_t offset_ = 0;
    std::span<const std::byte> data_;
    file::EarlyWriteout writeout_;
    std::exception_ptr error_;
    file::BackgroundJobs jobs_;  // last: it ends before what it uses
};

}  // namespace vantry::text
