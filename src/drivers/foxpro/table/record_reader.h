#pragma once
// Records of a table as raw bytes, read in blocks in the order of their numbers.

#include "drivers/foxpro/indexes/tag_set.h"
#include "drivers/foxpro/table/table_file.h"

#include <vector>

namespace vantry::foxpro {

// Record by record as raw bytes, deleted ones too.
class RecordReader {
public:
    explicit RecordReader(TableFile& table);

    // The next record; false behind the last one.
    bool Next();
    // Stands on that record, if there is one.
    bool Seek(RecordNumber number);
    // Before that record, which is read anew.
    void StandBefore(RecordNumber number);
    RecordNumber Number() const { return number_; }
    RecordNumber Count() const { return count_; }
    // Whether the next record lies in another block.
    bool IsAtBlockEnd() const { return number_ + 1 >= end_; }
    // The records end before that one.
    void EndAt(RecordNumber number) { count_ = number - 1; }
    ByteSpan Bytes() const {
        return ByteSpan(block_).subspan(std::size_t{number_ - first_} * record_length_,
                                        record_length_);
    }
    RecordView View() const { return {&table_->Layout(), Bytes(), number_}; }
    // Whether the files may have changed since the block was read; it then is read again.
    bool ReadAgain();

private:
    void ReadBlock(RecordNumber first);

    TableFile* table_;
    std::size_t record_length_;
    RecordNumber count_;
    RecordNumber number_ = 0;
    std::vector<std::byte> block_;
    RecordNumber first_ = 1;  // of the block
    RecordNumber end_ = 1;    // behind the block
    std::uint64_t version_ = 0;
};

// All records in order, for the index.
RecordWalk WalkOver(TableFile& table);

}  // namespace vantry::foxpro
