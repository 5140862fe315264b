#pragma once
// Has the desktop start the scheduler when its user logs in, and undoes that.

#include <string>

namespace vantry {

// Writes the entry for the scheduler at the path `program` and returns its file. Throws DataError
// where it can't be written, or where the file of that name is somebody else's.
std::string InstallAutostart(const std::string& program);
// The file that was removed; empty when there was none.
std::string RemoveAutostart();

}  // namespace vantry
