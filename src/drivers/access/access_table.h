#pragma once
// A table of an open database: columns and scans for the SQL layer.

#include "drivers/access/database_file.h"
#include "drivers/sql/storage.h"

#include <memory>
#include <vector>

namespace vantry::access {

class TableWriter;

class AccessTable : public sql::StoredTable {
public:
    // Throws DataError when the table's definition can't be read.
    AccessTable(std::shared_ptr<DatabaseFile> file, const CatalogObject& object);
    ~AccessTable() override;

    const std::string& Name() const override { return def_->name; }
    std::span<const sql::StoredColumn> Columns() const override { return columns_; }
    std::unique_ptr<sql::TableScan> Scan(std::span<const std::size_t> projection) override;
    std::int64_t CountRows() override;
    TableRules Rules() const override;
    std::unique_ptr<sql::TableScan> FindEqual(std::size_t column,
                                              const Cell& value,
                                              std::span<const std::size_t> projection) override;

    // Changes, inside a statement of the database.
    void Insert(std::span<const Cell> row) override;
    void Update(sql::RowId row,
                std::span<const std::size_t> columns,
                std::span<const Cell> values) override;
    void Delete(sql::RowId row) override;
    std::int64_t DeleteAll() override;
    // A row of a bulk load, with its own bracket.
    void InsertBatched(std::span<const Cell> row);

private:
    // The definition as it is in the file: another connection may have changed the table. Throws
    // when it is gone or has other columns.
    void Refresh();
    std::vector<std::size_t> Positions(std::span<const std::size_t> columns) const;
    TableWriter& Writer();
    // With a cell for each hidden column.
    std::span<const Cell> WholeRow(std::span<const Cell> row);

    std::shared_ptr<DatabaseFile> file_;
    std::shared_ptr<const TableDef> def_;
    std::int32_t id_;
    std::vector<std::size_t> shown_;  // positions of the columns in def_
    std::vector<sql::StoredColumn> columns_;
    std::uint64_t version_ = 0;
    std::unique_ptr<TableWriter> writer_;
    std::vector<Cell> whole_row_;
};

}  // namespace vantry::access
