// Easy to get wrong: the reader's window moves on while rows are still in use, so a block owns its
// bytes; and a file of huge rows must not be held several times, so those are left to the scan's
// own thread.

#include "drivers/text/rows_ahead.h"

#include <algorithm>

namespace vantry::text {
namespace {

// A batch is that large only if a row of it is.
constexpr std::size_t kMostBytes = std::size_t{1} << 20;

}  // namespace

RowsAhead::RowsAhead(RowReader& reader, RowCells& cells)
    : reader_(&reader),
      cells_(&cells),
      blocks_([this](ReadyBlock& block) { return Fill(block); }) {}

bool RowsAhead::Fill(ReadyBlock& block) {
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
