// A ring of blocks between two threads: the second one fills them in order, the first one uses them
// up. Two counters that only grow are all that they share, and the end is counted as a block, so
// whoever sees it sees all that was before it.

#include "files/blocks_ahead.h"

#include <utility>

namespace vantry::file {

BlocksAhead::BlocksAhead(std::function<bool(std::size_t)> fill) : fill_(std::move(fill)) {
    worker_ = std::thread([this] { Work(); });
}

BlocksAhead::~BlocksAhead() {
    stop_ = true;
    ++used_;  // no block, but something to wake up for
    used_.notify_one();
    worker_.join();
}

std::optional<std::size_t> BlocksAhead::Next() {
    if (in_use_) {
        in_use_ = false;
        // The second thread may sleep until half of the ring is free.
        if (++used_ % (kBlocks / 2) == 0) {
            used_.notify_one();
        }
    }
    const std::uint32_t wanted = used_;
    for (auto filled = filled_.load(); filled == wanted; filled = filled_.load()) {
        filled_.wait(filled);
    }
    if (wanted == end_) {
        if (failure_) {
            std::rethrow_exception(failure_);
        }
        return std::nullopt;
    }
    in_use_ = true;
    return wanted % kBlocks;
}

void BlocksAhead::Work() noexcept {
    for (std::uint32_t next = 0;; ++next) {
        for (auto used = used_.load(); next - used == kBlocks && !stop_; used = used_.load()) {
            used_.wait(used);
        }
        if (stop_) {
            return;
        }
        bool filled = false;
        try {
            filled = fill_(next % kBlocks);
        } catch (...) {
            failure_ = std::current_exception();
        }
        if (!filled) {
            end_ = next;
        }
        // A scan that waits may do so until half of the ring is filled: to be woken up costs more
        // than a block.
        if (++filled_ % (kBlocks / 2) == 0 || !filled) {
            filled_.notify_one();
        }
        if (!filled) {
            return;
        }
    }
}

}  // namespace vantry::file
