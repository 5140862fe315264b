// A block is read in one call and handed out record by record. The count is that of the beginning:
// rows that others add meanwhile belong to the next statement.
#include "drivers/foxpro/table/record_reader.h"

#include "drivers/foxpro/errors.h"

#include <algorithm>

namespace vantry::foxpro {
namespace {

constexpr std::size_t kBlockBytes = 256U << 10;

}  // namespace

RecordReader::RecordReader(TableFile& table)
    : table_(&table), record_length_(table.Layout().record_length), count_(table.RecordCount()) {}

void RecordReader::ReadBlock(RecordNumber first) {
    const auto records = static_cast<RecordNumber>(std::min<std::size_t>(
        std::max<std::size_t>(kBlockBytes / record_length_, 1), count_ - first + 1));
    block_.resize(records * record_length_);
    const auto got =
        table_->Group().Read(TableFile::kTable, table_->Layout().OffsetOf(first), block_);
    version_ = table_->Group().Version();
    if (got != block_.size()) {
        throw DamagedTable(table_->Path(),
                           "it ends within record " + std::to_string(first + got / record_length_) +
                               "; another program has cut it meanwhile");
    }
    first_ = first;
    end_ = first + records;
}

bool RecordReader::Next() {
    if (number_ >= count_) {
        return false;
    }
    if (IsAtBlockEnd()) {
        ReadBlock(number_ + 1);
    }
    ++number_;
    return true;
}

void RecordReader::StandBefore(RecordNumber number) {
    number_ = number - 1;
    first_ = end_ = number;
}

bool RecordReader::Seek(RecordNumber number) {
    if (number == 0 || number > count_) {
        return false;
    }
    if (number < first_ || number >= end_ || version_ != table_->Group().Version()) {
        ReadBlock(number);
    }
    number_ = number;
    return true;
}

// The version grows with every change of the files by anybody, seen at the last read: then the
// bytes of the block may be older than a memo that they lead to.
bool RecordReader::ReadAgain() {
    if (version_ == table_->Group().Version()) {
        return false;
    }
    ReadBlock(number_);
    return true;
}

RecordWalk WalkOver(TableFile& table) {
    return [&table](const std::function<void(const RecordView&)>& found) {
        for (RecordReader reader(table); reader.Next();) {
            found(reader.View());
        }
    };
}

}  // namespace vantry::foxpro
