// The first lines of a file for the eye: read as far as 100 lines need (doubling, up to a limit,
// since one line may be the whole file), decoded as the driver would, and split by the wizard's own
// simple rules, which know nothing of breaks inside quotes. Easy to get wrong: what was read may
// end in the middle of a character or of a quoted field, which isn't the file's fault; and further
// lines that can't be split are shown as far as they go, as only the first one decides whether the
// file is valid.

#include "text/preview.h"

#include "files/file.h"
#include "text_format/encoding.h"

#include <algorithm>
#include <span>

namespace vantry {
namespace {

constexpr std::size_t kFirstRead = 64 * 1024;
constexpr std::size_t kGridRows = 100;
constexpr std::size_t kLongestCharacter = 4;

std::string Decoded(std::string_view bytes, const text::TextEncoding& encoding, bool goes_on) {
    std::string text;
    if (encoding.IsUtf16()) {
        encoding.AppendUtf8FromUnits(goes_on ? bytes.substr(0, bytes.size() / 2 * 2) : bytes, text);
        return text;
    }
    if (goes_on) {  // not in the middle of a character
        for (std::size_t i = 0; i < kLongestCharacter && !bytes.empty() &&
                                (static_cast<unsigned char>(bytes.back()) & 0x80U) != 0;
             ++i) {
            bytes.remove_suffix(1);
        }
    }
    encoding.AppendUtf8(bytes, text);
    return text;
}

std::vector<PreviewLine> LinesOf(std::string_view text, bool goes_on) {
    std::vector<PreviewLine> lines;
    while (!text.empty() && lines.size() < kPreviewLines) {
        const auto end = text.find_first_of("\r\n");
        lines.push_back({std::string(text.substr(0, end)), end == text.npos && goes_on});
        if (end == text.npos) {
            break;
        }
        text.remove_prefix(end + (text.substr(end, 2) == "\r\n" ? 2 : 1));
    }
    return lines;
}

// An empty delimiter separates nothing: the line is one field.
void SplitPlainly(std::string_view line, std::string_view delimiter, LineFields& out) {
    for (;;) {
        const auto end = delimiter.empty() ? line.npos : line.find(delimiter);
        out.fields.push_back(line.substr(0, end));
        if (end == line.npos) {
            return;
        }
        line.remove_prefix(end + delimiter.size());
    }
}

}  // namespace

std::vector<PreviewLine> ReadPreview(const std::string& path) {
    const auto file = file::File::Open(path, file::OpenMode::Read);
    std::string head;
    for (std::size_t wanted = kFirstRead;; wanted = std::min(wanted * 2, kPreviewBytes)) {
        const std::size_t old_size = head.size();
        head.resize(wanted);
        const auto room = std::as_writable_bytes(std::span(head).subspan(old_size));
        head.resize(old_size + file.Read(old_size, room));
        // A file of exactly that length is taken for a longer one; the next round finds its end.
        const bool goes_on = head.size() == wanted;
        const auto encoding = text::TextEncoding::Choose("", head, path);
        auto lines =
            LinesOf(Decoded(std::string_view(head).substr(encoding.MarkBytes()), encoding, goes_on),
                    goes_on);
        const bool enough = lines.size() == kPreviewLines && !lines.back().cut;
        if (enough || !goes_on || wanted == kPreviewBytes) {
            return lines;
        }
    }
}

LineFields SplitLine(std::string_view line,
                     std::string_view delimiter,
                     std::string_view qualifier) {
    LineFields split;
    if (qualifier.empty() || delimiter.empty()) {
        SplitPlainly(line, delimiter, split);
        return split;
    }
    std::size_t at = 0;
    do {
        const auto end = line.find(delimiter, at);
        if (end == line.npos) {
            split.fields.push_back(line.substr(at));
            return split;
        }
        if (!line.substr(at).starts_with(qualifier)) {
            split.fields.push_back(line.substr(at, end - at));
            at = end + delimiter.size();
            continue;
        }
        const auto closing = line.find(qualifier, at + qualifier.size());
        if (closing == line.npos) {
            split.whole = false;
            return split;
        }
        const std::size_t behind = closing + qualifier.size();
        if (behind < line.size() && !line.substr(behind).starts_with(delimiter)) {
            split.whole = false;
            return split;
        }
        split.fields.push_back(line.substr(at, behind - at));
        if (behind == line.size()) {
            return split;
        }
        at = behind + delimiter.size();
    } while (at < line.size());
    split.fields.push_back(line.substr(line.size()));  // the line ends in the delimiter
    return split;
}

// All of them, doubled ones too: for the eye only, the driver reads by its own rules.
std::string WithoutQualifier(std::string_view field, std::string_view qualifier) {
    std::string text;
    for (;;) {
        const auto found = qualifier.empty() ? field.npos : field.find(qualifier);
        text += field.substr(0, found);
        if (found == field.npos) {
            return text;
        }
        field.remove_prefix(found + qualifier.size());
    }
}

PreviewTable::PreviewTable(std::vector<PreviewLine> lines, const PreviewFormat& format)
    : lines_(std::move(lines)), qualifier_(format.qualifier), row_count_(kGridRows - 1) {
    if (lines_.empty()) {
        return;
    }
    PlaceFirst(lines_.front(), format);
    for (std::size_t i = 1; i < lines_.size() && Columns() > 0; ++i) {
        PlaceFurther(lines_[i], format);
    }
}

void PreviewTable::PlaceFirst(const PreviewLine& line, const PreviewFormat& format) {
    auto split = SplitLine(line.text, format.delimiter, format.qualifier);
    // A qualifier that closes behind what was read isn't missing.
    valid_ = split.whole || line.cut;
    if (!valid_) {
        return;
    }
    for (std::size_t i = 0; i < split.fields.size(); ++i) {
        if (format.names_in_first_line) {
            heading_row_.emplace_back(split.fields[i]);
            names_.push_back(WithoutQualifier(split.fields[i], format.qualifier));
        } else {
            heading_row_.push_back(format.heading + std::to_string(i + 1));
            names_.push_back(heading_row_.back());
        }
    }
    if (!format.names_in_first_line) {
        first_row_as_it_is_ = true;
        rows_.push_back(std::move(split.fields));
    }
}

// The first line says how many columns there are; surplus fields aren't shown.
void PreviewTable::PlaceFurther(const PreviewLine& line, const PreviewFormat& format) {
    if (rows_.size() + 1 >= kGridRows - 1) {
        return;
    }
    auto fields = SplitLine(line.text, format.delimiter, format.qualifier).fields;
    if (fields.size() > Columns()) {
        fields.resize(Columns());
    }
    rows_.push_back(std::move(fields));
}

std::string PreviewTable::Cell(std::size_t row, std::size_t column) const {
    if (row >= rows_.size() || column >= rows_[row].size()) {
        return {};
    }
    const auto field = rows_[row][column];
    return row == 0 && first_row_as_it_is_ ? std::string(field)
                                           : WithoutQualifier(field, qualifier_);
}

}  // namespace vantry
