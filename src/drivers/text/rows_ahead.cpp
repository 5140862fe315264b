// A ring of blocks between two threads: the second one fills them in order, the scan hands their
// rows out. Two counters that only grow are all they share, and the end is counted as a block, so
// whoever sees it sees all that was before it. Easy to get wrong: the reader's window moves on
// while rows are still in use, so a block owns its bytes; and a file of huge rows must not be held
// several times, so those are left to the scan's own thread.

#include "drivers/text/rows_ahead.h"

#include <algorithm>
#include <utility>

namespace vantry::text {
namespace {

// A batch is that large only if a row of it is.
constexpr std::size_t kMostBytes = std::size_t{1} << 20;

}  // namespace

RowsAhead::RowsAhead(RowReader& reader, RowCells& cells) : reader_(&reader), cells_(&cells) {
    worker_ = std::thread([this] { Work(); });
}

RowsAhead::~RowsAhead() {
    stop_ = true;
    ++used_;  // no block, but something to wake up for
    used_.notify_one();
    worker_.join();
}

const ReadyBlock* RowsAhead::Next() {
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
        return nullptr;
    }
    in_use_ = true;
    return &blocks_[wanted % kBlocks];
}

void RowsAhead::Work() noexcept {
    for (std::uint32_t next = 0;; ++next) {
        for (auto used = used_.load(); next - used == kBlocks && !stop_; used = used_.load()) {
            used_.wait(used);
        }
        if (stop_) {
            return;
        }
        bool filled = false;
        try {
            filled = FillNext(blocks_[next % kBlocks]);
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

bool RowsAhead::FillNext(ReadyBlock& block) {
    if (!reader_->NextBatch()) {
        return false;
    }
    if (reader_->BatchBytes() > kMostBytes) {
        stands_on_row_ = true;
        return false;
    }
    auto& rows = block.rows;
    reader_->GiveBatch(rows);
    const std::size_t count = rows.batch.rows.size();
    const std::size_t width = cells_->Width();
    if (block.cells.size() < count * width) {
        block.cells.resize(std::max(count * width, 2 * block.cells.size()));
    }
    block.made.Clear();
    Cell* cell = block.cells.data();
    for (std::size_t row = 0; row < count; ++row, cell += width) {
        cells_->Fill(rows.Row(row), cell, block.made);
    }
    return true;
}

}  // namespace vantry::text
