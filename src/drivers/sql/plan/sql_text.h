#pragma once
// Pieces of SQLite's SQL as text: operators, literals, lists. Nothing here knows of tables or
// types.

#include "data/value.h"
#include "drivers/sql/parse/syntax.h"

#include <string>
#include <string_view>
#include <vector>

namespace vantry::sql {

// " = ", " AND ", ...: with its blanks; empty for an operator that is written as a call.
std::string_view Symbol(Operator op);

// Always read back as a floating number, with all of its digits.
std::string NumberLiteral(double number);
// A blob in the form of exact_number.h.
std::string ExactLiteral(const Decimal& number);
std::string TextLiteral(std::string_view text);

// Equal for expressions that differ in blanks and letter case alone, text in quotes aside.
std::string ComparableText(std::string_view text);
// With ", " between them.
std::string Joined(const std::vector<std::string>& parts);

}  // namespace vantry::sql
