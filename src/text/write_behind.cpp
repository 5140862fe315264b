#include "text/write_behind.h"

#include <utility>

namespace vantry::text {

WriteBehind::~WriteBehind() {
    if (!thread_.joinable()) {
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        closing_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void WriteBehind::Begin(file::File& file, std::uint64_t offset, std::span<const std::byte> data) {
    {
        const std::lock_guard lock(mutex_);
        file_ = &file;
        offset_ = offset;
        data_ = data;
        error_ = nullptr;
        asked_ = true;
    }
    if (!thread_.joinable()) {
        try {
            thread_ = std::thread([this] { Loop(); });
        } catch (const std::exception&) {
            Write();
            asked_ = false;
        }
        return;
    }
    changed_.notify_all();
}

std::exception_ptr WriteBehind::Await() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !asked_; });
    return std::exchange(error_, nullptr);
}

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

// What a write is asked for stands still while it runs, and no other code looks at it without the
// lock.
void WriteBehind::Loop() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return asked_ || closing_; });
        if (!asked_) {
            return;
        }
        lock.unlock();
        Write();
        lock.lock();
        asked_ = false;
        changed_.notify_all();
    }
}

}  // namespace vantry::text
