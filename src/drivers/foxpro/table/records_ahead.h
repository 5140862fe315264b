#pragma once
// Records read and decoded on a second thread, some blocks ahead of the scan. That thread does the
// plain work alone: it reads as long as nothing stands against it, and decodes the fields that lie
// in the record. Memos and everything uncommon are left to the thread that owns the scan.

#include "drivers/foxpro/table/record_decoder.h"
#include "files/blocks_ahead.h"

#include <vector>

namespace vantry::foxpro {

struct RecordBlock {
    struct Row {
        RecordNumber number = 0;
        bool is_decoded = false;  // but for its memos; else its cells mean nothing
    };
    std::vector<std::byte> bytes;
    RecordNumber first = 0;
    std::uint64_t version = 0;  // of the files when it was read
    std::vector<Row> rows;      // without those that the scan passes over
    std::vector<Cell> cells;    // rows x fields, row-major
    MadeTexts made;
};

class RecordsAhead {
public:
    // Records `first` to `last`. The table must outlive it. Throws std::exception if there is no
    // thread to be had.
    RecordsAhead(TableFile& table,
                 std::span<const std::size_t> fields,
                 RecordNumber first,
                 RecordNumber last);

    // The next block, valid until the next call; null, for good, when the second thread has come to
    // an end: of the records, or at what only the scan's own thread can read.
    RecordBlock* Next() { return blocks_.Next(); }
    // Then: the record behind the last block's.
    RecordNumber Unread() const { return next_; }

private:
    bool Fill(RecordBlock& block) noexcept;
    void Decode(RecordBlock& block, RecordNumber records);

    TableFile* table_;
    RecordDecoder decoder_;
    std::size_t width_;
    RecordNumber next_;
    RecordNumber last_;
    RecordNumber block_records_;
    file::Ahead<RecordBlock> blocks_;
};

}  // namespace vantry::foxpro
