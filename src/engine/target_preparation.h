#pragma once
// Drops or empties an existing target table before its rows come. Each uses a connection of its own
// and logs what it does; a failure is logged with the data source's own words and gives 0, and the
// table is then left out of the run.

#include "core/session_state.h"

#include <string>

namespace vantry {

// What is to be done before the rows of table `i` come, in this order.
struct Preparation {
    bool empties = false;
    bool drops = false;
    bool creates = false;
};
Preparation PreparationOf(const TableRec& source);

std::string DropStatement(const std::string& target);
std::string DeleteStatement(const std::string& target);

// Why table `i` may be neither dropped nor emptied; empty when it may.
std::string PreparationFault(i16 i);

// `i` indexes DstTables. -1 on success, 0 on failure.
i16 DropTargetTable(i16 i);
i16 DeleteTargetRows(i16 i);

}  // namespace vantry
