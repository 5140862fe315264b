#pragma once
// Records of a table in the order of their numbers, read in blocks: the scan that the SQL layer
// asks for.

#include "drivers/foxpro/table/record_decoder.h"
#include "drivers/foxpro/table/record_reader.h"
#include "drivers/foxpro/table/records_ahead.h"
#include "drivers/sql/storage.h"

#include <memory>
#include <vector>

namespace vantry::foxpro {

class RecordScan : public sql::TableScan {
public:
    // `fields` are numbers of fields in the layout.
    RecordScan(std::shared_ptr<TableFile> table, std::span<const std::size_t> fields);

    bool Next() override;
    std::span<const Cell> Row() const override { return {row_, fields_.size()}; }
    sql::RowId CurrentRow() const override {
        return taken_ > 0 ? block_->rows[taken_ - 1].number : reader_.Number();
    }
    bool Seek(sql::RowId row) override;
    std::int64_t Middle() override;
    void EndAt(std::int64_t middle) override;
    void GoOnAt(std::int64_t middle) override;
    DataError FieldError(std::size_t position) const override {
        return decoder_.FieldError(position);
    }

private:
    bool NextAlone();
    bool NextAhead();
    bool StandInBlock();
    bool StartAhead();
    // Goes on without a second thread at that record.
    void LeaveAhead(RecordNumber next);
    void Decode();

    std::shared_ptr<TableFile> table_;
    std::vector<std::size_t> fields_;
    RecordReader reader_;
    RecordDecoder decoder_;
    bool show_deleted_;
    const Cell* row_ = nullptr;
    std::size_t blocks_alone_;  // until a second thread is started
    std::size_t patience_;      // blocks alone the next time
    std::unique_ptr<RecordsAhead> ahead_;
    RecordBlock* block_ = nullptr;
    std::size_t taken_ = 0;       // rows of the block
    bool in_first_half_ = false;  // what is missing at the file's end is the other half's to tell
};

// Records that the scan would give.
std::int64_t CountRecords(TableFile& table);

}  // namespace vantry::foxpro
