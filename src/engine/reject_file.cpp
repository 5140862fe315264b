// The rows that a run didn't bring into a target, as a text file that a session can load again. The
// file is made with the first such row, so a run without one leaves none. Easy to get wrong:
// nothing here may throw into the load, so that what fails is kept as a text and told at the end;
// and a heading must serve tables of different columns.
#include "engine/reject_file.h"

#include "core/session_state.h"
#include "data/ascii.h"
#include "data/data_error.h"
#include "data/date_format.h"
#include "data/error_text.h"
#include "data/message_text.h"
#include "data/reject_form.h"
#include "data/value_text.h"
#include "engine/source_statements.h"

#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <set>

namespace vantry {

RejectFile* CurrentRejects = nullptr;

namespace {

// One write for many rows; each refusal that is told is followed by a Flush, so that a killed run
// leaves what its log speaks of.
constexpr std::size_t kMostHeld = 64 * 1024;
constexpr std::string_view kBegin =
    "\xEF\xBB\xBF"
    "Table,Row,State,Reason";  // kRejectColumns

const char* StateName(RejectState state) {
    static constexpr const char* kNames[] = {
        "refused", "one of these", "with another", "not sent", "taken back", "may have arrived"};
    return kNames[static_cast<std::size_t>(state)];
}

void AppendQuoted(std::string_view text, std::string& out) {
    out += '"';
    for (const char c : text) {
        out.append(c == '"' ? 2 : 1, c);
    }
    out += '"';
}

void AppendHex(std::span<const std::byte> bytes, std::string& out) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    out += "0x";
    for (const auto byte : bytes) {
        const auto value = std::to_integer<unsigned>(byte);
        out += kDigits[value >> 4U];
        out += kDigits[value & 0xFU];
    }
}

void AppendField(const Cell& cell, std::string& out) {
    switch (cell.Kind()) {
        case ValueKind::Unset:
        case ValueKind::Null:
        case ValueKind::Unreadable:
            return;
        case ValueKind::Text:
            AppendQuoted(cell.AsText(), out);
            return;
        case ValueKind::Bytes:
            AppendHex(cell.AsBytes(), out);
            return;
        case ValueKind::DateTime:
            AppendIsoDateTime(cell.AsDateTime(), out);
            return;
        default:
            AppendText(cell, out);
            return;
    }
}

// A name that all tables with a column in that place have there, and nothing else of the heading.
std::string Heading() {
    std::vector<std::string> names;
    std::vector<bool> shared;
    for (const auto& table : SrcTables) {
        const auto columns = MappedColumnsOf(table.TabID);
        for (std::size_t k = 0; k < columns.size(); ++k) {
            if (k == names.size()) {
                names.push_back(columns[k]->SCName);
                shared.push_back(true);
            }
            shared[k] = shared[k] && EqualsNoCase(names[k], columns[k]->SCName);
        }
    }
    std::set<std::string> taken;
    for (const auto column : kRejectColumns) {
        taken.insert(LowerAscii(std::string(column)));
    }
    std::string heading(kBegin);
    for (std::size_t k = 0; k < names.size(); ++k) {
        const bool good = shared[k] && !names[k].empty() &&
                          names[k].find_first_of("\r\n") == std::string::npos &&
                          taken.insert(LowerAscii(names[k])).second;
        heading += ',';
        AppendQuoted(good ? names[k] : "Value " + std::to_string(k + 1), heading);
    }
    return heading + "\r\n";
}

}  // namespace

void RejectFile::Begin() {
    if (file_) {
        return;
    }
    const auto folder = std::filesystem::path(path_).parent_path();
    if (!folder.empty()) {
        ::mkdir(folder.c_str(), S_IRWXU);  // most often it is there
    }
    if (file::IsThere(path_) && path_.ends_with(kRejectFileEnding)) {
        // Of a run whose log stands beside it, or of one that goes on elsewhere.
        path_.insert(path_.size() - kRejectFileEnding.size(),
                     "." + FormatDateTime(Now(), "yyyy-mm-dd-hh-nn-ss"));
    }
    file_ = file::File::CreateNew(path_, true);
    // By this others see that it is in use. Where the file system has no locks they don't.
    static_cast<void>(::flock(file_.Descriptor(), LOCK_EX | LOCK_NB));
    held_ = Heading();
}

void RejectFile::Add(const Reject& reject, std::span<const Cell> cells) noexcept {
    // Once something couldn't be written, the file has a gap: what comes behind it would hide that.
    if (!fault_.empty()) {
        return;
    }
    try {
        Begin();
        AppendQuoted(reject.table, held_);
        held_ += ',' + std::to_string(reject.row) + ',' + StateName(reject.state) + ',';
        AppendQuoted(WithoutControls(reject.reason), held_);
        for (const auto& cell : cells) {
            held_ += ',';
            AppendField(cell, held_);
        }
        held_ += "\r\n";
    } catch (const std::exception& error) {
        fault_ = ErrorText(error);
    }
    if (held_.size() > kMostHeld) {
        Flush();
    }
}

void RejectFile::Flush() noexcept {
    if (held_.empty() || !file_) {
        return;
    }
    try {
        file_.Write(size_, std::as_bytes(std::span(held_)));
        size_ += held_.size();
    } catch (const std::exception& error) {
        fault_ = ErrorText(error);
    }
    held_.clear();
}

bool RejectFile::IsOne(const std::string& path) {
    std::array<char, kBegin.size()> begin{};
    try {
        const auto file = file::File::OpenIfThere(path, file::OpenMode::Read, file::Links::Refused);
        return file && file->Read(0, std::as_writable_bytes(std::span(begin))) == begin.size() &&
               std::string_view(begin.data(), begin.size()) == kBegin;
    } catch (const DataError&) {
        return false;
    }
}

bool RejectFile::IsBeingWritten(const std::string& path) {
    try {
        const auto file = file::File::OpenIfThere(path, file::OpenMode::Read, file::Links::Refused);
        return file && ::flock(file->Descriptor(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    } catch (const DataError&) {
        return false;
    }
}

}  // namespace vantry
