// Writes the summary as JSON text by hand: a dozen fields, in a fixed order that a person can read,
// too. It is made beside the former one and renamed over it, so that a program that polls for it
// never reads half a file.
// Easy to get wrong: texts. A table may be named after a file whose name is no UTF-8, and JSON must
// be: such bytes become U+FFFD, as every reader would have to make them.
#include "repository/run_summary.h"

#include "data/utf.h"
#include "data/value_text.h"
#include "files/file.h"

#include <unistd.h>

#include <array>
#include <cstdio>

namespace vantry {
namespace {

// What SummaryText() begins with; by it a summary is known from another file of the name.
constexpr std::string_view kBegin = "{\n  \"session\": ";

// Each byte that is no UTF-8 becomes U+FFFD.
std::string AsUtf8(std::string_view text) {
    std::string valid;
    for (std::size_t at = 0; at < text.size();) {
        AppendUtf8(NextCodePoint(text, at), valid);
    }
    return valid;
}

void AppendQuoted(std::string_view text, std::string& out) {
    if (!IsValidUtf8(text)) {
        AppendQuoted(AsUtf8(text), out);
        return;
    }
    out += '"';
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned char>(c));
            out += escaped;
        } else {
            out += c;
        }
    }
    out += '"';
}

// Writes one object, its members one a line.
class JsonObject {
public:
    explicit JsonObject(std::string& out) : out_(out) { out_ += '{'; }
    void End() { out_ += '}'; }
    void Text(const char* name, std::string_view value) {
        Name(name);
        AppendQuoted(value, out_);
    }
    void Number(const char* name, std::int64_t value) {
        Name(name);
        out_ += std::to_string(value);
    }
    void Seconds(const char* name, double value) {
        Name(name);
        char text[40];
        std::snprintf(text,
                      sizeof text,
                      "%lld.%03d",
                      static_cast<long long>(value),
                      static_cast<int>(value * 1000) % 1000);
        out_ += text;
    }
    void Name(const char* name) {
        out_ += first_ ? "\n  \"" : ",\n  \"";
        first_ = false;
        out_ += name;
        out_ += "\": ";
    }

private:
    std::string& out_;
    bool first_ = true;
};

std::string JsonMoment(const DateTime& moment) {
    std::string text = IsoText(moment);
    text[10] = 'T';
    return text;
}

void AppendTable(const TableReport& table, std::string& out) {
    JsonObject object(out);
    object.Text("source", table.Source);
    object.Text("target", table.Target);
    object.Number("rowsRead", table.RowsRead);
    object.Number("rowsLoaded", table.RowsLoaded);
    object.Number("rowsFailed", table.RowsFailed());
    object.Seconds("seconds", table.Seconds);
    object.Number("errors", table.Errors);
    object.Number("formulaTexts", table.FormulaTexts);
    object.Text("outcome", OutcomeName(table.Outcome));
    object.End();
}

}  // namespace

std::string SummaryText(const RunSummary& summary) {
    std::string out;
    JsonObject object(out);
    object.Number("session", summary.SessionID);
    object.Text("name", summary.SessionName);
    object.Text("start", JsonMoment(summary.Start));
    object.Text("end", JsonMoment(summary.End));
    object.Number("exitCode", summary.ExitCode);
    object.Text("version", summary.Version);
    if (!summary.Reason.empty()) {
        object.Text("reason", summary.Reason);
    }
    object.Name("tables");
    out += '[';
    for (std::size_t k = 0; k < summary.Tables.size(); ++k) {
        out += k == 0 ? "\n" : ",\n";
        AppendTable(summary.Tables[k], out);
    }
    out += ']';
    object.End();
    return out + "\n";
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

void WriteSummary(const std::string& path, const RunSummary& summary) {
    const std::string text = SummaryText(summary);
    const std::string part = path + ".part-" + std::to_string(::getpid());
    // Left by a run of the same process number that was killed.
    file::RemoveFile(part);
    try {
        auto written = file::File::CreateNew(part, true);
        written.Write(0, std::as_bytes(std::span(text)));
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
