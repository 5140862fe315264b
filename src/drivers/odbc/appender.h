#pragma once
// Rows for the columns of a SELECT, by one prepared INSERT: positioned adds are slower in every
// driver, and FreeTDS has none. An error belongs to its row, since each goes by itself.

#include "drivers/odbc/bound_statement.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantry::odbc {

class OdbcAppender : public Appender {
public:
    // Describes the SELECT by running it with a condition that no row fulfils. Throws DataError if
    // it isn't "SELECT columns FROM table".
    OdbcAppender(std::shared_ptr<Link> link, std::string_view select_sql);

    std::span<const ColumnInfo> Columns() const override { return infos_; }
    void Append(std::span<const Cell> row) override;

private:
    void Describe(std::string_view select_sql);
    // For rows that have values in these columns.
    void PrepareFor(const std::vector<bool>& given);

    std::shared_ptr<Link> link_;
    std::vector<ColumnInfo> infos_;
    std::string table_;               // with the quotes of the SELECT
    std::vector<std::string> names_;  // likewise
    std::vector<bool> given_;  // which columns the INSERT names; the others get their default
    std::optional<BoundStatement> insert_;
    std::vector<bool> now_given_;
    std::vector<Cell> values_;
};

}  // namespace vantry::odbc
