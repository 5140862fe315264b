#include "text/write_behind.h"

#include <utility>

namespace vantry::text {

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
        // Another file begins: what was written out early of the last one doesn't count for it.
        if (offset_ == 0) {
            writeout_ = {};
        }
        writeout_.Wrote(*file_, offset_ + data_.size());
    } catch (...) {
        error_ = std::current_exception();
    }
}

}  // namespace vantry::text
