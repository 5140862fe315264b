#pragma once
// The files that stand beside a session's log: the summary of its run (".json"), the rows that it
// didn't load (".rejects.csv"), and former logs (".1", ".2", ...) with theirs.

#include <string>

namespace vantry {

// Makes room for a run's own before it begins. So many former logs are kept, 0 for none; then what
// a former run left beside the log is removed, or the log would be taken for theirs. A file of one
// of these names that isn't ours is never touched: throws DataError, which names it.
void MakeRoomBesideLog(const std::string& log_file, int generations);

// Beside a log that belongs to somebody else's run, or to none: the summary alone.
void RemoveFormerSummary(const std::string& log_file);

}  // namespace vantry
