#pragma once
// Adds rows to the columns of a SELECT by a prepared INSERT, one statement a row, so that an error
// belongs to its row.

#include "data/driver.h"
#include "drivers/mysql/bound_statement.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantry::mysql {

class MySqlAppender : public Appender {
public:
    // Describes the SELECT without running it.
    MySqlAppender(std::shared_ptr<Session> session, std::string_view select_sql);

    std::span<const ColumnInfo> Columns() const override { return infos_; }
    void Append(std::span<const Cell> row) override;

private:
    void PrepareFor(const std::vector<bool>& given);

    std::shared_ptr<Session> session_;
    std::vector<ColumnInfo> infos_;
    std::string table_;               // quoted, with its database
    std::vector<std::string> names_;  // quoted, as they are in the table
    // The INSERT names the columns that have a value: the others take their defaults.
    std::vector<bool> given_;
    std::optional<BoundStatement> insert_;
    std::vector<bool> now_given_;
    std::vector<Cell> values_;
};

}  // namespace vantry::mysql
