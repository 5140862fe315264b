#pragma once
// Default values of columns, as expressions in the properties of a table: constants and the
// functions without arguments that give the present moment.

#include "data/value.h"

#include <optional>
#include <string_view>

namespace vantry::access {

// The value of the expression; `memory` holds what it points at. Nothing if it is of another form.
std::optional<Cell> EvaluateDefault(std::string_view expression, Value& memory);
// Whether it asks for a new GUID: "GenGUID()".
bool IsNewGuid(std::string_view expression);

}  // namespace vantry::access
