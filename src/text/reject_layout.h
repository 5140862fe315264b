#pragma once
// How the file of rejected rows (engine/reject_file) is read back: its section of "Schema.ini"
// beside it, so that types come from all of its rows. The first of them are no measure for the
// others: what is in the file is what didn't fit.

#include <string>

namespace vantry {

// Nothing is done where there is such a section. Throws DataError.
void DescribeRejectFile(const std::string& path);

}  // namespace vantry
