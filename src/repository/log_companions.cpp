#include "repository/log_companions.h"

#include "data/data_error.h"
#include "engine/reject_file.h"
#include "files/file.h"
#include "repository/run_log_file.h"
#include "repository/run_summary.h"

#include <filesystem>

namespace vantry {
namespace {

DataError ForeignFile(const std::string& file, const std::string& what) {
    return {kErrUnspecified,
            "The file '" + file + "' is none of ours, and has the name that " + what +
                " gets. Give the session another log file."};
}

std::string RejectsOf(const std::string& log_file) {
    return log_file + std::string(kRejectFileEnding);
}

void RemoveFormerRejects(const std::string& log_file) {
    const std::string file = RejectsOf(log_file);
    // The wizard runs the same session: its list is still growing, and the new one takes another
    // name.
    if (RejectFile::IsBeingWritten(file)) {
        return;
    }
    if (file::IsThere(file) && !RejectFile::IsOne(file)) {
        throw ForeignFile(file, "the list of rows that aren't loaded");
    }
    file::RemoveFile(file);
}

// A log and what stands beside it get the name of another generation.
void MoveLog(const std::string& from, const std::string& to) {
    // The log first: what stands beside a log that couldn't be moved must stay with it.
    file::RenameReplacing(from, to);
    RemoveFormerSummary(to);
    RemoveFormerRejects(to);
    if (IsSummary(SummaryFileOf(from))) {
        file::RenameReplacing(SummaryFileOf(from), SummaryFileOf(to));
    }
    if (RejectFile::IsOne(RejectsOf(from)) && !RejectFile::IsBeingWritten(RejectsOf(from))) {
        file::RenameReplacing(RejectsOf(from), RejectsOf(to));
    }
}

std::string Generation(const std::string& log_file, int number) {
    return number == 0 ? log_file : log_file + "." + std::to_string(number);
}

// From the oldest on: the last one goes. A gap ends it: what is behind it can stay.
void KeepFormerLogs(const std::string& log_file, int generations) {
    std::error_code none;
    if (generations == 0 || !HoldsSessionLog(log_file) ||
        std::filesystem::file_size(log_file, none) == 0) {
        return;
    }
    int last = 0;
    while (last < generations && file::IsThere(Generation(log_file, last))) {
        ++last;
    }
    for (int number = last; number > 0; --number) {
        const std::string to = Generation(log_file, number);
        if (file::IsThere(to) && !HoldsSessionLog(to)) {
            throw ForeignFile(to, "a former log");
        }
        MoveLog(Generation(log_file, number - 1), to);
    }
}

}  // namespace

// Where the log has an unusual name, the file of that name plus ".json" may be another program's.
void RemoveFormerSummary(const std::string& log_file) {
    const std::string file = SummaryFileOf(log_file);
    if (file::StampOf(file) && !IsSummary(file)) {
        throw ForeignFile(file, "the summary of the run");
    }
    file::RemoveFile(file);
    RemoveLeftParts(file);
}

void MakeRoomBesideLog(const std::string& log_file, int generations) {
    KeepFormerLogs(log_file, generations);
    RemoveFormerSummary(log_file);
    RemoveFormerRejects(log_file);
}

}  // namespace vantry
