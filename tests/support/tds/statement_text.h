#pragma once
// Statements as SQL Server's clients write them, made fit for SQLite: N'texts' and 0x bytes, the
// types of new tables, and the decimals of an INSERT.

#include <string>
#include <string_view>
#include <vector>

namespace vantry::test::tds {

// The statements of a batch; between them stand semicolons.
std::vector<std::string> SplitBatch(std::string_view batch);

// Throws ServerError for types that SQL Server doesn't have.
std::string ForSqlite(std::string_view sql);

// The first word in capitals.
std::string FirstWord(std::string_view sql);
// A name without its brackets or quotes.
std::string Unquoted(std::string_view name);

}  // namespace vantry::test::tds
