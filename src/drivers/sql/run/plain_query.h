#pragma once
// The statements that need no query processor: rows of one table in storage order, some or all of
// its columns, and the count of its rows. They are what a copy consists of, so they go straight to
// the engine's scan.

#include "drivers/sql/parse/syntax.h"

#include <memory>
#include <optional>
#include <vector>

namespace vantry::sql {

struct PlainQuery {
    std::shared_ptr<StoredTable> table;
    std::vector<std::size_t> columns;   // column numbers, in the order of the result
    std::vector<ColumnInfo> infos;      // as many
    bool count_only = false;            // one row, one column: the count
    std::optional<std::int64_t> limit;  // TOP n, or no rows at all
};

// Nothing if the statement is of another kind, or names something that isn't there.
std::optional<PlainQuery> MatchPlainQuery(const Select& select, EmbeddedDatabase& database);

std::unique_ptr<Cursor> OpenPlainQuery(PlainQuery query,
                                       std::shared_ptr<EmbeddedDatabase> database);

// The column of that name; nothing if there is none.
std::optional<std::size_t> FindColumn(const StoredTable& table, std::string_view name);
// Whether `qualifier` means the table named or aliased so: the whole name, or the file's name
// without its folder and extension.
bool NamesTable(std::string_view qualifier, const TableExpression& table);
// The value of a literal or of a negated number; nothing for other expressions.
std::optional<Value> ConstantOf(const Expression& expression);

}  // namespace vantry::sql
