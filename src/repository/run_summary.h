#pragma once
// What a run leaves for machines: one JSON object beside the log, replaced as a whole at the end of
// each run.

#include "engine/run_report.h"

#include <string>
#include <vector>

namespace vantry {

struct RunSummary {
    i32 SessionID = 0;
    std::string SessionName;
    DateTime Start;
    DateTime End;
    int ExitCode = 0;
    std::string Version;
    std::string Reason;               // why a run with 3 or 6 didn't start; else empty
    std::string Rejects;              // the file of rows that aren't loaded; empty: there is none
    std::string RejectsFault;         // why rows are missing in it
    std::vector<TableReport> Tables;  // of a polled folder: one per file
};

std::string SummaryText(const RunSummary& summary);
// Why the run of a summary didn't start, or its first table that was given up or not prepared
// failed; empty where it says neither, can't be read, or is of a run that ended with another code:
// one that can't begin leaves the summary of the one before it.
std::string FailureIn(const std::string& summary_file, int exit_code);
// The log's name with ".json" behind it.
std::string SummaryFileOf(const std::string& log_file);
// Whether the file is such a summary: one that isn't belongs to another program.
bool IsSummary(const std::string& path);
// Takes away what runs that were killed while they wrote it have left beside it.
void RemoveLeftParts(const std::string& path);
// Readable by its owner alone. Throws DataError.
void WriteSummary(const std::string& path, const RunSummary& summary);

}  // namespace vantry
