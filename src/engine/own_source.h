#pragma once
// A table pair whose two sides are one table: emptied or dropped to receive the rows, it would take
// them with it.

#include "core/session_state.h"

namespace vantry {

// Whether the session's connections lead to the same data and both names mean the same table there.
// Names compare without case, also where a server distinguishes them: a refusal costs nothing.
bool IsItsOwnSource(const TableRec& source, const TableRec& target);

// The cursor type by which the rows are read: `usual`, unless they are appended to their own table
// on a server. Some lock it until the last row is read, and the first one written would wait for
// ever: those rows are taken into memory before.
int CursorForRows(const TableRec& source, const TableRec& target, int usual);

}  // namespace vantry
