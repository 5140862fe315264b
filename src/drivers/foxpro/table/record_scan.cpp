// Deleted records are passed over here and nowhere below, as tags and the check of a table need
// them.
#include "drivers/foxpro/table/record_scan.h"

#include "drivers/foxpro/errors.h"

namespace vantry::foxpro {
RecordScan::RecordScan(std::shared_ptr<TableFile> table, std::span<const std::size_t> fields)
    : table_(std::move(table)),
      reader_(*table_),
      decoder_(*table_, fields),
      show_deleted_(table_->Options().show_deleted) {
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
}

bool RecordScan::Next() {
    do {
        if (!reader_.Next()) {
            if (table_->MissingRecords() != 0) {
                throw RecordsMissing(
                    table_->Path(), table_->RecordCount(), table_->MissingRecords());
            }
            return false;
        }
    } while (!show_deleted_ && reader_.View().IsDeleted());
    Decode();
    return true;
}

bool RecordScan::Seek(sql::RowId row) {
    if (row <= 0 || row > INT32_MAX || !reader_.Seek(static_cast<RecordNumber>(row)) ||
        (!show_deleted_ && reader_.View().IsDeleted())) {
        return false;
    }
    Decode();
    return true;
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
