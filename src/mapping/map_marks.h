#pragma once
// What a user of the mapping pages should know of a row or a table before it is loaded, and what
// their fixed texts don't say. Each text is a sentence for a tool tip; empty where nothing is odd.

#include "core/session_state.h"

#include <cstddef>
#include <string>

namespace vantry {

// A row that has both sides and stays out of the load all the same, or that feeds a column of
// another name because the map went by position.
std::string MarkOfRow(const ColMapRec& row, bool target_exists);

// The same for all rows of a table, and a text file that a run will replace whatever is chosen.
// `index`: of SrcTables and DstTables.
std::string MarkOfTable(std::size_t index);

}  // namespace vantry
