// The summary as JSON, its members in a fixed order that a person can read, too. It is made beside
// the former one and renamed over it, so that a program that polls for it never reads half a file.
// Easy to get wrong: texts. A table may be named after a file whose name is no UTF-8, and JSON must
// be: such bytes become U+FFFD, as every reader would have to make them.
#include "repository/run_summary.h"

#include "data/value_text.h"
#include "engine/verification.h"
#include "files/file.h"

#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <system_error>

namespace vantry {
namespace {

// What SummaryText() begins with; by it a summary is known from another file of the name.
constexpr std::string_view kBegin = "{\n  \"session\": ";

constexpr const char* kPart = ".part-";  // and the writing process

// Keeps the names in the order in which they are put in: people read the file, too.
using Json = nlohmann::ordered_json;

std::string JsonMoment(const DateTime& moment) {
    std::string text = IsoText(moment);
    text[10] = 'T';
    return text;
}

Json JsonVerification(const Verification& found) {
    Json json = {{"result", ResultName(found.result)}};
    if (found.result == Verification::Result::NotDone) {
        json["why"] = found.why_not;
        return json;
    }
    json["targetRowsBefore"] = found.target_before;
    json["targetRowsAfter"] = found.target_after;
    if (found.result == Verification::Result::Differs) {
        json["columns"] = found.columns;
        if (found.rows) {
            json["rows"] = *found.rows;
        }
        if (found.first_row) {
            json["firstRow"] = *found.first_row;
        }
    }
    return json;
}

Json JsonTable(const TableReport& table) {
    Json json = {{"source", table.Source},
                 {"target", table.Target},
                 {"rowsRead", table.RowsRead},
                 {"rowsLoaded", table.RowsLoaded},
                 {"rowsFailed", table.RowsFailed()},
                 {"rowsMayHaveArrived", table.RowsUnknown},
                 {"seconds", std::round(table.Seconds * 1000) / 1000},
                 {"waitedSeconds", std::round(table.WaitedSeconds * 1000) / 1000},
                 {"errors", table.Errors},
                 {"formulaTexts", table.FormulaTexts},
                 {"outcome", OutcomeName(table.Outcome)}};
    if (!table.FirstError.empty()) {
        json["firstError"] = table.FirstError;
    }
    if (const auto why = FailureText(table); !why.empty()) {
        json["failure"] = why;
    }
    if (table.RowsRejected > 0) {
        json["rowsRejected"] = table.RowsRejected;
    }
    if (const auto row = table.FirstRowNotReached()) {
        json["firstRowNotReached"] = *row;
    }
    if (table.Verified.result != Verification::Result::NotAsked) {
        json["verification"] = JsonVerification(table.Verified);
    }
    if (!table.Remarks.empty()) {
        json["remarks"] = table.Remarks;
    }
    return json;
}

}  // namespace

std::string SummaryText(const RunSummary& summary) {
    Json json = {{"session", summary.SessionID},
                 {"name", summary.SessionName},
                 {"start", JsonMoment(summary.Start)},
                 {"end", JsonMoment(summary.End)},
                 {"exitCode", summary.ExitCode},
                 {"version", summary.Version}};
    if (!summary.Reason.empty()) {
        json["reason"] = summary.Reason;
    }
    if (!summary.Rejects.empty()) {
        json["rejects"] = summary.Rejects;
    }
    if (!summary.RejectsFault.empty()) {
        json["rejectsFault"] = summary.RejectsFault;
    }
    json["tables"] = Json::array();
    for (const auto& table : summary.Tables) {
        json["tables"].push_back(JsonTable(table));
    }
    // Names of files needn't be text, but what other programs are to read must be.
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string FailureIn(const std::string& summary_file, int exit_code) {
    std::ifstream file(summary_file);
    const auto json = Json::parse(file, nullptr, false);
    const auto text_at = [](const Json& object, const char* name) {
        const auto found = object.find(name);
        return found != object.end() && found->is_string() ? found->get<std::string>()
                                                           : std::string();
    };
    if (!json.is_object()) {
        return {};
    }
    const auto code = json.find("exitCode");
    if (code == json.end() || *code != exit_code) {
        return {};
    }
    if (auto reason = text_at(json, "reason"); !reason.empty()) {
        return reason;
    }
    const auto tables = json.find("tables");
    if (tables != json.end() && tables->is_array()) {
        for (const auto& table : *tables) {
            auto failure = table.is_object() ? text_at(table, "failure") : std::string();
            if (!failure.empty()) {
                return failure;
            }
        }
    }
    return {};
}

std::string SummaryFileOf(const std::string& log_file) {
    return log_file + ".json";
}

bool IsSummary(const std::string& path) {
    std::array<char, kBegin.size()> begin{};
    try {
        const auto summary = file::File::OpenIfThere(path, file::OpenMode::Read);
        return summary &&
               summary->Read(0, std::as_writable_bytes(std::span(begin))) == begin.size() &&
               std::string_view(begin.data(), begin.size()) == kBegin;
    } catch (const DataError&) {
        return false;
    }
}

void RemoveLeftParts(const std::string& path) {
    const std::string start = std::filesystem::path(path + kPart).filename().string();
    std::error_code error;
    for (std::filesystem::directory_iterator
             entry(std::filesystem::path(path).parent_path(), error),
         end;
         !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        const auto process = name.starts_with(start)
                                 ? ParseInt64(std::string_view(name).substr(start.size()))
                                 : std::nullopt;
        if (process && *process > 0 && ::kill(static_cast<pid_t>(*process), 0) != 0 &&
            errno == ESRCH) {
            std::error_code stays;
            std::filesystem::remove(entry->path(), stays);
        }
    }
}

void WriteSummary(const std::string& path, const RunSummary& summary) {
    const std::string text = SummaryText(summary);
    const std::string part = path + kPart + std::to_string(::getpid());
    // Left by a run of the same process number that was killed.
    file::RemoveFile(part);
    try {
        auto written = file::File::CreateNew(part, true);
        written.Write(0, std::as_bytes(std::span(text)));
        written.Sync();
        file::RenameReplacing(part, path);
    } catch (const DataError&) {
        try {
            file::RemoveFile(part);
        } catch (const DataError&) {
            // The first failure is the one to report.
        }
        throw;
    }
}

}  // namespace vantry
