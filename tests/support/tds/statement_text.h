#pragma once
// Statements as SQL Server's clients write them, made fit for SQLite: N'texts' and 0x bytes, the
// types of new tables, and the values of an INSERT, each of which goes through its column.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::test::tds {

// The statements of a batch; between them stand semicolons.
std::vector<std::string> SplitBatch(std::string_view batch);

// The declared type of a table's column, empty when there is none; names without brackets.
using TypeOfColumn = std::function<std::string(
    const std::string& schema, const std::string& table, const std::string& column)>;
// The columns of a table, in order.
using ColumnsOfTable =
    std::function<std::vector<std::string>(const std::string& schema, const std::string& table)>;

// Throws ServerError for types that SQL Server doesn't have.
std::string ForSqlite(std::string_view sql,
                      const TypeOfColumn& type_of,
                      const ColumnsOfTable& columns_of);

// The first word in capitals.
std::string FirstWord(std::string_view sql);
// A name without its brackets or quotes.
std::string Unquoted(std::string_view name);

}  // namespace vantry::test::tds
