#pragma once
// A text file as a table of the SQL layer.

#include "drivers/sql/storage.h"
#include "drivers/text/line_writer.h"
#include "drivers/text/table_layout.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace vantry::text {

class TextTable : public sql::StoredTable {
public:
    TextTable(std::string name,
              TableSource source,
              std::shared_ptr<const TableLayout> layout,
              std::shared_ptr<AppendJournal> journal,
              ReaderSizes sizes = {});

    const std::string& Name() const override { return name_; }
    std::span<const sql::StoredColumn> Columns() const override { return columns_; }
    // Row ids are places in the file, in bytes. The scan sees the rows that are there when it
    // begins, and throws DataError once the file is changed by another program.
    std::unique_ptr<sql::TableScan> Scan(std::span<const std::size_t> projection) override;
    std::int64_t CountRows() override;
    void Insert(std::span<const Cell> row) override;
    void Update(sql::RowId row,
                std::span<const std::size_t> columns,
                std::span<const Cell> values) override;
    void Delete(sql::RowId row) override;
    std::int64_t DeleteAll() override;

private:
    std::string name_;
    TableSource source_;
    std::shared_ptr<const TableLayout> layout_;
    std::shared_ptr<AppendJournal> journal_;
    ReaderSizes sizes_;
    std::vector<sql::StoredColumn> columns_;
    std::unique_ptr<LineWriter> writer_;
    bool grown_ = false;  // the layout's count is out of date
};

}  // namespace vantry::text
