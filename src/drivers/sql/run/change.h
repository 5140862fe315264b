#pragma once
// Statements that change a database: INSERT, UPDATE, DELETE, SELECT INTO and the definition of
// tables and indexes; and adding rows to the columns of a SELECT.

#include "drivers/sql/parse/syntax.h"

#include <memory>
#include <string_view>

namespace vantry::sql {

// Any statement; of a SELECT the rows are walked and dropped. Names and types are checked here, and
// for statements that define something when they are executed.
std::unique_ptr<Statement> PrepareChange(std::string_view sql,
                                         std::shared_ptr<EmbeddedDatabase> database,
                                         const Dialect& dialect);

// For "SELECT columns FROM table"; throws for anything else.
std::unique_ptr<Appender> MakeAppender(const Select& select,
                                       const std::shared_ptr<EmbeddedDatabase>& database,
                                       const Dialect& dialect);

// A value of a statement in the kind of the column that it is for: text becomes the date, number
// or truth value that it spells. Throws TypeMismatch if it spells none.
Value ConvertForColumn(const Cell& value, const ColumnInfo& column);

}  // namespace vantry::sql
