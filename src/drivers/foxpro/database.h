#pragma once
// A folder of tables or a container as the SQL layer sees it.

#include "drivers/foxpro/container/container.h"
#include "drivers/foxpro/foxpro_table.h"
#include "drivers/sql/storage.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace vantry::foxpro {

// What a connection string asks for.
struct DatabaseOptions {
    std::string path;        // of the folder, or of the container
    bool container = false;  // which of them
    bool null_by_default = true;
    std::string collation;  // of new indexes; empty: MACHINE
    TableOptions tables;
};

class FoxProDatabase : public sql::EmbeddedDatabase {
public:
    // Throws DataError if there is no such folder or container.
    explicit FoxProDatabase(DatabaseOptions options);
    ~FoxProDatabase() override;

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
    std::vector<std::string> TakeRemarks() override;

private:
    struct Place {
        std::string path;  // of the .dbf
        std::string name;  // as the user knows the table
        std::vector<std::string> long_names;
    };
    // Throws if the connection string asks for another order of new indexes.
    void RequireMachineOrder(std::string_view table) const;
    // Without the name of the container before it ("sales!orders").
    std::string_view NameInContainer(std::string_view name) const;
    // Where the table is or would be; nothing for a name that can't be one's.
    std::optional<Place> PlaceOf(std::string_view name);
    std::optional<Place> Find(std::string_view name);
    std::shared_ptr<TableFile> OpenFile(const Place& place);
    void RequireOwn(const TableFile& table) const;

    DatabaseOptions options_;
    std::string folder_;
    std::unique_ptr<Container> container_;                    // null for a folder
    std::map<std::string, std::shared_ptr<TableFile>> open_;  // by path
    std::shared_ptr<OpenStatement> statement_ = std::make_shared<OpenStatement>();
    bool expect_many_rows_ = false;
};

}  // namespace vantry::foxpro
