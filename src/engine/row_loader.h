#pragma once
// Copies the rows of a source table into a target table of any kind but MySQL: through a prepared
// INSERT, or through AddNew and Update where a column is long or binary. Every row is committed by
// the data source on its own.
//
// A row of which a field can't be read isn't sent: the statement or the new row refuses itself
// while a value is missing. So the source's rows are those that the target gained and those that
// the log has as failed, up to the row at which the table was given up.

#include "core/session_state.h"

#include <cstdint>

namespace vantry {

// -1 when the rows were walked to their end or the user cancelled, 0 when the 50th error gave the
// table up.
i16 LoadRowsGeneric(i16 i);

// The type code of the parameter that carries a field of type `code`.
std::uint16_t ParamTypeFor(std::uint16_t code);

}  // namespace vantry
