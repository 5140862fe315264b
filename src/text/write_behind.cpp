#include "text/write_behind.h"

#include <cstdint>
#include <utility>

namespace vantry::text {

void WriteBehind::NewFile(bool is_waited_for) {
    // Memory that no other program misses; to write it out early costs a tenth of a copy.
    constexpr std::uint64_t kStaysWhole = std::uint64_t{256} << 20;
    writeout_ = is_waited_for ? file::EarlyWriteout() : file::EarlyWriteout::Behind(kStaysWhole);
}

void WriteBehind::Begin(file::File& file, std::uint64_t offset, std::span<const std::byte> data) {
    file_ = &file;
    offset_ = offset;
    data_ = data;
    error_ = nullptr;
    if (jobs_.Start()) {
        jobs_.Post([this] { Write(); }, 1);
    } else {
        Write();
    }
}

std::exception_ptr WriteBehind::Await() {
    jobs_.Wait();
    return std::exchange(error_, nullptr);
}

// What a write is asked for stands still while it runs, and nobody else looks at it before Await.
void WriteBehind::Write() {
    try {
        file_->Write(offset_, data_);
        writeout_.Wrote(*file_, offset_ + data_.size());
    } catch (...) {
        error_ = std::current_exception();
    }
}

}  // namespace vantry::text
