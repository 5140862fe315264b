#pragma once
// A table as the SQL layer sees it.

#include "drivers/foxpro/table/table_file.h"
#include "drivers/sql/storage.h"

#include <memory>
#include <string>
#include <vector>

namespace vantry::foxpro {

class FoxProTable : public sql::StoredTable {
public:
    FoxProTable(std::shared_ptr<TableFile> file, std::string name);

    const std::string& Name() const override { return name_; }
    std::span<const sql::StoredColumn> Columns() const override { return columns_; }
    std::unique_ptr<sql::TableScan> Scan(std::span<const std::size_t> projection) override;
    std::int64_t CountRows() override;

    TableFile& File() { return *file_; }

private:
    std::shared_ptr<TableFile> file_;
    std::string name_;
    std::vector<std::size_t> shown_;  // numbers of the fields that are columns
    std::vector<sql::StoredColumn> columns_;
};

}  // namespace vantry::foxpro
