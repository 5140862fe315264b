#pragma once
// What the pages of the text sources leave behind: sections of "Schema.ini" that tell the text
// driver how to read the chosen files, and the connection string of their folder.

#include "core/session_state.h"

#include <span>
#include <string>

namespace vantry {

// The state of the qualifier box, which holds for all files of a page.
struct QualifierChoice {
    int list_index = 0;  // 0 double quote, 1 single quote, 2 none, -1 the typed text
    std::string typed;
};

// Rows to be looked at for the types of the columns: the polled file is looked at whole.
inline constexpr int kTextSourceScanRows = 50;
inline constexpr int kPolledFileScanRows = 0;

// One section, by Name, SFormat and SFirstColLine of the file. Begins with two empty lines.
std::string SchemaSectionText(const TableRec& file,
                              const QualifierChoice& qualifier,
                              int max_scan_rows);

// Writes the sections of `files` in front of what the folder's "Schema.ini" holds. The driver takes
// the first section of a name, so the older ones needn't be looked for. Throws DataError, leaving
// the older file as it is.
void WriteSchemaIni(const std::string& folder,
                    std::span<const TableRec> files,
                    const QualifierChoice& qualifier,
                    int max_scan_rows);

// The stray quote at the end is part of it: stored sessions have it.
std::string TextSourceConnectionString(const std::string& folder);

}  // namespace vantry
