#pragma once
// A compiled expression: a piece of SQLite's SQL, and what the expression around it has to know of
// it to convert, compare or continue it rightly.

#include "drivers/sql/parse/syntax.h"
#include "drivers/sql/plan/value_type.h"

#include <optional>
#include <string>

namespace vantry::sql {

struct ScopeTable;

// The stored row and column whose value an expression passes on unchanged.
struct Origin {
    std::size_t source = 0;
    std::size_t column = 0;
    std::string row_id;  // SQL of the row's id
};

struct Term {
    std::string sql;
    ValueType type;
    bool logical = false;   // 0, 1 or Null; other booleans are 0, -1 or Null
    bool dynamic = false;   // a parameter: converted when its value is there
    bool collated = false;  // a column that has its collation with it
    bool column = false;
    // The node of a literal, or of a negated one: its value is known now.
    const Expression* literal = nullptr;
    std::optional<Operator> chain;  // sql is "(a op b ...)" and may be continued
    std::size_t chain_length = 0;
    std::optional<Origin> origin;
    ScopeTable* table = nullptr;  // the column's table and number there
    std::size_t table_column = 0;
};

// A condition that SQLite works out itself, as 0, 1 or Null.
Term Truth(std::string sql);
// Whether it may stand as an operand of AND and OR in their logical sense.
bool IsTruth(const Term& term);

}  // namespace vantry::sql
