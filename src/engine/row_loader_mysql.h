#pragma once
// Copies the rows of a source table into a MySQL table: the values stand in the statement's text,
// 100 rows to an INSERT. A table with long or binary columns goes row by row through AddNew and
// Update.
//
// A batch is sent or lost as a whole: a row of which a field couldn't be read leaves its batch
// malformed, and the server refuses it. The log tells one error for such a batch, with the count of
// rows reached; the rows stay counted.

#include "core/session_state.h"

namespace vantry {

// -1 when the rows were walked to their end or the user cancelled, 0 when the 51st error gave the
// table up.
i16 LoadRowsMySQL(i16 i);

}  // namespace vantry
