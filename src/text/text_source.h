#pragma once
// What the pages of the text sources leave behind for a run: the sections of "Schema.ini" for the
// chosen files, and the connection string of their folder.

#include "core/session_state.h"
#include "text_format/schema_ini_writer.h"

#include <span>
#include <string>
#include <vector>

namespace vantry {

// Rows to be looked at for the types of the columns: the polled file is looked at whole.
inline constexpr int kTextSourceScanRows = 50;
inline constexpr int kPolledFileScanRows = 0;

// One section, by Name, SFormat and SFirstColLine of the file. Begins with two empty lines.
std::string SchemaSectionText(const TableRec& file,
                              const QualifierChoice& qualifier,
                              int max_scan_rows);

// What the folder's "Schema.ini" says of each of these files that a page's controls can't, in a few
// words ("fixed width", "columns of its own"); empty where it says no more than they can. A section
// of that kind was written by hand, and one in front of it would undo that.
std::vector<std::string> OwnFormats(const std::string& folder,
                                    const std::vector<std::string>& names);

// Writes the sections of `files` in front of what the folder's "Schema.ini" holds. Throws
// DataError, leaving the older file as it is; also where the connection string can't name the
// folder.
void WriteSchemaIni(const std::string& folder,
                    std::span<const TableRec> files,
                    const QualifierChoice& qualifier,
                    int max_scan_rows);

// The stray quote at the end is part of it: stored sessions have it.
std::string TextSourceConnectionString(const std::string& folder);

}  // namespace vantry
