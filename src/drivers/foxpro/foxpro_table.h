#pragma once
// A table as the SQL layer sees it.

#include "drivers/foxpro/table/table_file.h"
#include "drivers/sql/storage.h"

#include <memory>
#include <string>
#include <vector>

namespace vantry::foxpro {

// The statement that is open on a connection: which tables it has locked so far.
struct OpenStatement {
    bool open = false;
    std::vector<std::shared_ptr<TableFile>> tables;
};

class FoxProTable : public sql::StoredTable {
public:
    FoxProTable(std::shared_ptr<TableFile> file,
                std::string name,
                std::shared_ptr<OpenStatement> statement,
                bool null_by_default);

    const std::string& Name() const override { return name_; }
    std::span<const sql::StoredColumn> Columns() const override { return columns_; }
    std::unique_ptr<sql::TableScan> Scan(std::span<const std::size_t> projection) override;
    std::int64_t CountRows() override;
    TableRules Rules() const override;

    // Changes, inside a statement of the database.
    void Insert(std::span<const Cell> row) override;
    void Update(sql::RowId row,
                std::span<const std::size_t> columns,
                std::span<const Cell> values) override;
    void Delete(sql::RowId row) override;
    // For good: the table is as if it were new.
    std::int64_t DeleteAll() override;
    // A row of a bulk load, with its own bracket.
    void InsertBatched(std::span<const Cell> row);

private:
    TableWriter& Writer();
    // Takes the table into the open statement: locked, and with the header as it is then.
    void Enter();

    std::shared_ptr<TableFile> file_;
    std::string name_;
    std::shared_ptr<OpenStatement> statement_;
    bool null_by_default_;
    std::vector<std::size_t> shown_;  // numbers of the fields that are columns
    std::vector<sql::StoredColumn> columns_;
};

}  // namespace vantry::foxpro
