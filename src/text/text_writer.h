#pragma once
// Runs the session in memory against text files: one file per table, delimited or of fixed width,
// in the machine's character set with CR LF line ends. No target connection and no repository take
// part. CurrentRunView must be set.
//
// A former file of a table's name is replaced when the table ends: with its rows, by a cancel, as a
// table without rows, or as one that is skipped. When the run is given up at its 51st error, or
// dies, the former file stays and the lines so far stand beside it (text/line_file.h).
//
// A line is written whole or not at all: a row of which a field can't be read, or whose line the
// file refuses, is logged and not counted. The rows counted are those in the file; a cancel alone
// leaves one more there, whose line was written when the cancel came.

#include "core/session_state.h"

#include <string>

namespace vantry {

// The argument is ignored. From text files to text files this is RunTextToText.
void RunSessionToText(const std::string& ignored);
// The same, but a column's format goes by its type name in the column map instead of the type that
// its source gives it.
void RunTextToText(const std::string& ignored);

}  // namespace vantry
