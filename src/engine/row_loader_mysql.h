#pragma once
// Copies the rows of a source table into a MySQL table: the values stand in the statement's text,
// 100 rows to an INSERT. A table with long or binary columns goes row by row through AddNew and
// Update.
//
// A batch is sent or lost as a whole (engine/batch_rows.h), and the count in the log doesn't take a
// lost one off.

#include "core/session_state.h"

namespace vantry {

// -1 when the rows were walked to their end or the user cancelled, 0 when the 51st error gave the
// table up.
i16 LoadRowsMySQL(i16 i);

}  // namespace vantry
