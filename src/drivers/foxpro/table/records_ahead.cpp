// A block that can't be had as a whole is no block: the scan's own thread reads it again, meets
// what was in the way, and tells it at its record. Easy to get wrong: the table may be changed
// while blocks of it wait, so each knows of what state of the files it is, and the scan looks.

#include "drivers/foxpro/table/records_ahead.h"

#include <algorithm>
#include <exception>

namespace vantry::foxpro {
namespace {

// All blocks together stay in the processor's cache, whatever the table looks like.
constexpr std::size_t kBlockBytes = 64U << 10;
constexpr std::size_t kMostCells = 4096;

RecordNumber RecordsOfABlock(std::size_t record_length, std::size_t width) {
    const auto records =
        std::min(kBlockBytes / record_length, kMostCells / std::max<std::size_t>(width, 1));
    return static_cast<RecordNumber>(std::max<std::size_t>(records, 1));
}

}  // namespace

RecordsAhead::RecordsAhead(TableFile& table,
                           std::span<const std::size_t> fields,
                           RecordNumber first,
                           RecordNumber last)
    : table_(&table),
      decoder_(table, fields),
      width_(fields.size()),
      next_(first),
      last_(last),
      block_records_(RecordsOfABlock(table.Layout().record_length, width_)),
      blocks_([this](RecordBlock& block) { return Fill(block); }) {}

bool RecordsAhead::Fill(RecordBlock& block) noexcept {
    if (next_ > last_) {
        return false;
    }
    const auto& layout = table_->Layout();
    const RecordNumber records = std::min(block_records_, last_ - next_ + 1);
    try {
        block.first = next_;
        block.bytes.resize(records * layout.record_length);
        if (!table_->Group().TryRead(layout.OffsetOf(next_), block.bytes, block.version)) {
            return false;
        }
        Decode(block, records);
    } catch (const std::exception&) {
        return false;  // no memory
    }
    next_ += records;
    return true;
}

void RecordsAhead::Decode(RecordBlock& block, RecordNumber records) {
    const std::size_t length = table_->Layout().record_length;
    const bool show_deleted = table_->Options().show_deleted;
    block.rows.clear();
    block.made.Clear();
    block.cells.resize(std::max(block.cells.size(), records * width_));
    Cell* cells = block.cells.data();
    for (RecordNumber k = 0; k < records; ++k) {
        const auto record = ByteSpan(block.bytes).subspan(k * length, length);
        if (record[0] != kDeletedRecord || show_deleted) {
            block.rows.push_back(
                {block.first + k, decoder_.DecodeWithoutMemos(record, cells, block.made)});
            cells += width_;
        }
    }
}

}  // namespace vantry::foxpro
