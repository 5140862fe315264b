#pragma once
// What must hold of the session in memory before its run, and what a run that died may have left in
// its way. The runner asks in this order.

#include "core/session_state.h"

#include <string>

namespace vantry {

// Why the rows of the repository make no session that can run; empty when they do.
std::string SessionFault();

// Why one of the two sides can't be reached; empty when both can. Asked once: a server that is gone
// would otherwise fail row by row and table by table.
std::string ConnectionFault();

// From here on a table that the run creates is recorded in the repository at once, under that
// session. A run that is killed after it has created a table must not find it in its way the next
// time; the run's record says the same at its end.
void RecordCreatedTables(i32 session_id);

// Whether the run that has just ended may have dropped a table and not made it anew: each later run
// would then fail at dropping it.
bool TableMayBeGone();

// A run may have left no table where it had dropped one, and one that `died` a table that it had
// created and not recorded. The session in memory, and the target, become what the next run
// expects. Throws DataError when the target can't be looked at.
void RepairAfterRun(bool died);

}  // namespace vantry
