#pragma once
// Records of a table in the order of their numbers, read in blocks: the scan that the SQL layer
// asks for.

#include "drivers/foxpro/table/record_decoder.h"
#include "drivers/foxpro/table/record_reader.h"
#include "drivers/sql/storage.h"

#include <memory>
#include <vector>

namespace vantry::foxpro {

class RecordScan : public sql::TableScan {
public:
    // `fields` are numbers of fields in the layout.
    RecordScan(std::shared_ptr<TableFile> table, std::span<const std::size_t> fields);

    bool Next() override;
    std::span<const Cell> Row() const override { return decoder_.Cells(); }
    sql::RowId CurrentRow() const override { return reader_.Number(); }
    bool Seek(sql::RowId row) override;
    DataError FieldError(std::size_t position) const override {
        return decoder_.FieldError(position);
    }

private:
    void Decode();

    std::shared_ptr<TableFile> table_;
    RecordReader reader_;
    RecordDecoder decoder_;
    bool show_deleted_;
};

// Records that the scan would give.
std::int64_t CountRecords(TableFile& table);

}  // namespace vantry::foxpro
