#pragma once
// Rows of a file read and made cells of on a second thread, some batches ahead of the scan. Worth
// it for files of many batches.

#include "drivers/text/made_texts.h"
#include "drivers/text/row_cells.h"
#include "drivers/text/row_reader.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <exception>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

namespace vantry::text {

struct ReadyBlock {
    RowBlock rows;
    std::vector<Cell> cells;  // rows x columns, row-major
    MadeTexts made;
};

class RowsAhead {
public:
    // Both must outlive it, and are the second thread's until it is gone. Throws std::exception if
    // there is no thread to be had.
    RowsAhead(RowReader& reader, RowCells& cells);
    ~RowsAhead();
    RowsAhead(const RowsAhead&) = delete;
    RowsAhead& operator=(const RowsAhead&) = delete;

    // The next block, valid until the next call; null when the second thread has come to an end,
    // for good. Throws what reading threw, behind the rows before it.
    const ReadyBlock* Next();
    // What that end was: the last row, or a batch too large for a block, on whose first row the
    // reader then stands.
    bool StandsOnRow() const { return stands_on_row_; }

private:
    // One that is used, one that is filled, and enough between them that neither thread has to wake
    // up the other for each.
    static constexpr std::uint32_t kBlocks = 8;

    void Work() noexcept;
    bool FillNext(ReadyBlock& block);

    RowReader* reader_;
    RowCells* cells_;
    std::array<ReadyBlock, kBlocks> blocks_;
    // Counted from the start; block n lies at n % kBlocks. The end counts as a block.
    std::atomic<std::uint32_t> filled_ = 0;
    std::atomic<std::uint32_t> used_ = 0;
    std::atomic<bool> stop_ = false;
    std::atomic<std::uint32_t> end_ = std::numeric_limits<std::uint32_t>::max();
    bool in_use_ = false;
    bool stands_on_row_ = false;
    std::exception_ptr failure_;
    std::thread worker_;
};

}  // namespace vantry::text
