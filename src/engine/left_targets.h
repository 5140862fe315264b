#pragma once
// The last look of a run at the files that its tables were loaded into.

#include "engine/run_report.h"

#include <vector>

namespace vantry {

// Where a file isn't any more what the load of its tables left: logs why, and takes the rows of
// these tables for rows of which it isn't known where they are. Within a file::LeftFilesWatch.
void LookAtTargetsAgain(std::vector<TableReport>& tables);

}  // namespace vantry
