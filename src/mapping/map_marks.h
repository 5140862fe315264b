#pragma once
// What a user of the mapping pages should know of a row or a table before it is loaded, and what
// their fixed texts don't say. Each text is a sentence for a tool tip; empty where nothing is odd.

#include "core/session_state.h"

#include <string>
#include <vector>

namespace vantry {

// A row that has both sides and stays out of the load all the same, or that feeds a column of
// another name because the map went by position.
std::string MarkOfRow(const ColMapRec& row, bool target_exists);

// One text a table, in the order of SrcTables: the same for all its rows, a text file that a run
// will replace whatever is chosen, and a source file that falls into the wrong columns. In one pass
// over the map: a session may have thousands of tables.
std::vector<std::string> MarksOfTables();

}  // namespace vantry
