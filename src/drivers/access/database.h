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

private:
    std::shared_ptr<DatabaseFile> file_;
};

}  // namespace vantry::access
