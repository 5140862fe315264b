#pragma once
// What a server makes of a value whose type isn't its column's. To SQL Server a run names the
// source's types for its parameters, so it is the server that converts, by a table of its own: of
// which types it takes none for a column, where it cuts instead of rounding, from which day numbers
// count. A batch for MySQL is text, of which the server makes what it reads there.

#include "check/value_judge.h"

#include <optional>
#include <string_view>

namespace vantry {

// Takes up what the server's catalogue calls the column's type, "datetime2(3)" or "ntext": the
// driver shows the newer dates as texts, and all long texts alike.
void SetServersType(std::string_view type_name, Holding& holding);

// Of a value that the server has to convert; nothing where what holds for all targets holds there,
// too.
std::optional<Verdict> JudgeConversion(const Cell& value,
                                       const Carriage& carriage,
                                       const Holding& holding);

}  // namespace vantry
