// Deleted records are passed over by scans and nowhere below, as tags and the check of a table need
// them. Behind the first blocks a second thread reads ahead. Easy to get wrong: its blocks are as
// old as they were when it read them, so a table that is changed meanwhile, by whomever, is read on
// by this thread, from the first row on that hasn't been handed out.
#include "drivers/foxpro/table/record_scan.h"

#include "drivers/foxpro/errors.h"

#include <algorithm>
#include <exception>
#include <limits>

namespace vantry::foxpro {
namespace {

// Before a second thread is worth its start. Each time that it has to be left, because the table is
// in use otherwise, twice as many.
constexpr std::size_t kBlocksAlone = 2;
constexpr std::size_t kForEver = std::numeric_limits<std::size_t>::max() / 2;

}  // namespace

RecordScan::RecordScan(std::shared_ptr<TableFile> table, std::span<const std::size_t> fields)
    : table_(std::move(table)),
      fields_(fields.begin(), fields.end()),
      reader_(*table_),
      decoder_(*table_, fields),
      show_deleted_(table_->Options().show_deleted),
      blocks_alone_(kBlocksAlone),
      patience_(2 * kBlocksAlone) {
    if (decoder_.HasMemos()) {
        table_->MissMemos();
    }
}

void RecordScan::Decode() {
    decoder_.Decode(reader_.Bytes(), reader_.Number());
    // A memo's place may be another one's by the time that it is read: the record tells.
    for (int tries = 0; decoder_.HasMemos() && tries < 3 && reader_.ReadAgain(); ++tries) {
        decoder_.Decode(reader_.Bytes(), reader_.Number());
    }
    row_ = decoder_.Cells().data();
}

bool RecordScan::Next() {
    return NextAhead() || NextAlone();
}

bool RecordScan::NextAlone() {
    do {
        if (reader_.IsAtBlockEnd()) {
            if (blocks_alone_ > 0) {
                --blocks_alone_;
            } else if (StartAhead()) {
                return Next();
            }
        }
        if (!reader_.Next()) {
            if (!in_first_half_ && table_->MissingRecords() != 0) {
                throw RecordsMissing(
                    table_->Path(), table_->RecordCount(), table_->MissingRecords());
            }
            return false;
        }
    } while (!show_deleted_ && reader_.View().IsDeleted());
    Decode();
    return true;
}

// ---- With a second thread ---------------------------------------------------------------------

bool RecordScan::StartAhead() {
    const RecordNumber first = reader_.Number() + 1;
    if (first > reader_.Count() || table_->Group().InTransaction()) {
        return false;
    }
    try {
        ahead_ = std::make_unique<RecordsAhead>(*table_, fields_, first, reader_.Count());
        return true;
    } catch (const std::exception&) {
        // No thread to be had, or no memory for it: the rows come without one.
        blocks_alone_ = kForEver;
        return false;
    }
}

void RecordScan::LeaveAhead(RecordNumber next) {
    ahead_.reset();
    block_ = nullptr;
    taken_ = 0;
    reader_.StandBefore(next);
    blocks_alone_ = patience_;
    patience_ = std::min(2 * patience_, kForEver);
}

// False without a second thread, and when it is left.
bool RecordScan::NextAhead() {
    while (ahead_) {
        if (block_ == nullptr || taken_ == block_->rows.size()) {
            taken_ = 0;
            block_ = ahead_->Next();
            if (block_ == nullptr) {
                LeaveAhead(ahead_->Unread());
            }
        } else if (StandInBlock()) {
            return true;
        } else {
            LeaveAhead(block_->rows[taken_].number);
        }
    }
    return false;
}

// False: the row may have been changed since it was read.
bool RecordScan::StandInBlock() {
    const auto& row = block_->rows[taken_];
    Cell* const cells = block_->cells.data() + taken_ * fields_.size();
    row_ = cells;
    if (!row.is_decoded || decoder_.HasMemos()) {
        const std::size_t length = table_->Layout().record_length;
        const auto record =
            ByteSpan(block_->bytes).subspan((row.number - block_->first) * length, length);
        if (row.is_decoded) {
            decoder_.DecodeMemos(record, row.number, cells);
        } else {
            decoder_.Decode(record, row.number);
            row_ = decoder_.Cells().data();
        }
    }
    // Behind the memos: reading them may have been what noticed a change by others.
    if (block_->version != table_->Group().Version()) {
        return false;
    }
    ++taken_;
    return true;
}

// Who goes back and forth reads little at each place.
bool RecordScan::Seek(sql::RowId row) {
    if (ahead_) {
        LeaveAhead(static_cast<RecordNumber>(CurrentRow()) + 1);
    }
    blocks_alone_ = kForEver;
    if (row <= 0 || row > INT32_MAX || !reader_.Seek(static_cast<RecordNumber>(row)) ||
        (!show_deleted_ && reader_.View().IsDeleted())) {
        return false;
    }
    Decode();
    return true;
}

// A table that is held exclusively lets no second reader in.
std::int64_t RecordScan::Middle() {
    constexpr RecordNumber kFewest = 10'000;
    const auto count = reader_.Count();
    return ahead_ || table_->Options().exclusive || count < kFewest || reader_.Number() > count / 2
               ? 0
               : count / 2 + 1;
}

void RecordScan::EndAt(std::int64_t middle) {
    in_first_half_ = true;
    blocks_alone_ = kForEver;
    reader_.EndAt(static_cast<RecordNumber>(middle));
}

void RecordScan::GoOnAt(std::int64_t middle) {
    blocks_alone_ = kForEver;
    reader_.StandBefore(static_cast<RecordNumber>(middle));
}

// The header's count has the deleted ones in it, so the records are looked at.
std::int64_t CountRecords(TableFile& table) {
    if (table.Options().show_deleted) {
        return table.RecordCount();
    }
    std::int64_t count = 0;
    for (RecordReader reader(table); reader.Next();) {
        count += reader.View().IsDeleted() ? 0 : 1;
    }
    return count;
}

}  // namespace vantry::foxpro
