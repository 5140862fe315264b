#pragma once
// Rows of a file read and made cells of on a second thread, some batches ahead of the scan. Worth
// it for files of many batches.

#include "data/made_texts.h"
#include "drivers/text/row_cells.h"
#include "drivers/text/row_reader.h"
#include "files/blocks_ahead.h"

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

    // The next block, valid until the next call; null when the second thread has come to an end,
    // for good. Throws what reading threw, behind the rows before it.
    const ReadyBlock* Next() { return blocks_.Next(); }
    // What that end was: the last row, or a batch too large for a block, on whose first row the
    // reader then stands.
    bool StandsOnRow() const { return stands_on_row_; }

private:
    bool Fill(ReadyBlock& block);

    RowReader* reader_;
    RowCells* cells_;
    bool stands_on_row_ = false;
    file::Ahead<ReadyBlock> blocks_;
};

}  // namespace vantry::text
