#pragma once
// An Access database as the SQL layer sees it.

#include "drivers/access/database_file.h"
#include "drivers/sql/storage.h"

#include <memory>
#include <string>
#include <string_view>

namespace vantry::access {

class AccessDatabase : public sql::EmbeddedDatabase {
public:
    explicit AccessDatabase(std::shared_ptr<DatabaseFile> file) : file_(std::move(file)) {}

    std::vector<TableEntry> Tables() override;
    std::shared_ptr<sql::StoredTable> OpenTable(std::string_view name) override;
    std::optional<std::string> ViewText(std::string_view name) override;

    void CreateTable(const sql::TableDefinition& definition) override;
    void DropTable(std::string_view name) override;
    void CreateIndex(std::string_view table, const sql::IndexDefinition& index) override;
    void BeginStatement() override;
    void CommitStatement() override;
    void RollbackStatement() override;
    void InsertRow(sql::StoredTable& table, std::span<const Cell> row) override;
    void Settle() override;
    void ExpectManyRows() override;

private:
    template <typename Change>
    void ChangeDefinitions(Change&& change);

    std::shared_ptr<DatabaseFile> file_;
};

}  // namespace vantry::access
