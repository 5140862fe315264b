#pragma once
// An Access database as the SQL layer sees it.

#include "drivers/access/database_file.h"
#include "drivers/sql/storage.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::access {

class AccessTable;

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
    void BeginTransaction() override;
    void CommitTransaction() override;
    void RollbackTransaction() override;
    void Settle() override;
    void ExpectManyRows() override;

private:
    void TakeBack();
    template <typename Change>
    void ChangeDefinitions(Change&& change);

    std::shared_ptr<DatabaseFile> file_;
    bool in_transaction_ = false;       // of several statements
    std::uint64_t version_before_ = 0;  // the statement that is under way
    // Those that the transaction has used. They keep what has to be written into their definitions
    // at its end, and nobody else's change can make them stale before.
    std::vector<std::shared_ptr<AccessTable>> used_tables_;
};

}  // namespace vantry::access
