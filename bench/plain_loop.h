#pragma once
// The floor of CSV to CSV: the loop that anyone would write who has to do this one copy alone. It
// reads blocks, takes each row apart into its fields byte by byte, and puts the fields out again
// with tabs between them and texts in quotes, as a run does. It knows no types, no column map and
// no character set, checks nothing but reads and writes, and neither counts nor logs.

#include <filesystem>

namespace vantry::bench {

// Throws std::runtime_error when a file can't be read or written.
void CopyPlainly(const std::filesystem::path& from, const std::filesystem::path& to);

}  // namespace vantry::bench
