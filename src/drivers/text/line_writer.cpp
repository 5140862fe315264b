// Makes a row into the line that the readers of this folder would read back as the same row. That
// is checked, not hoped for: each value that isn't text is read again by the column's own reader
// before the line is accepted. Lines are added at the end of the file, and a journal of old sizes
// takes them back if the statement fails. Easy to get wrong: a file whose last line has no break, a
// file that was changed since it was looked at, half a line after a full disk, and an empty line,
// which is no row.

#include "drivers/text/line_writer.h"

#include "data/calendar.h"
#include "data/utf.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/text/number_form.h"
#include "text_format/errors.h"

#include <algorithm>
#include <span>

namespace vantry::text {
namespace {

constexpr std::string_view kLineBreak = "\r\n";
constexpr int kMostDecimals = 38;

// Whether a line that is added now would be glued to the last one.
bool EndsWithinLine(const file::File& file, std::uint64_t size, const TextEncoding& encoding) {
    const std::size_t unit = encoding.IsUtf16() ? 2 : 1;
    // Behind the byte order mark there is no line yet.
    if (size < encoding.MarkBytes() + unit) {
        return false;
    }
    char last[2] = {0, 0};
    file.ReadExactly(size - unit, std::as_writable_bytes(std::span(last, unit)));
    // A byte alone counts as a unit whose upper half is zero.
    const bool little = encoding.Kind() != TextEncoding::Form::Utf16Be;
    const char low = last[little ? 0 : 1];
    const char high = last[little ? 1 : 0];
    return high != 0 || (low != '\n' && low != '\r');
}

bool IsNumberType(ColumnType type) {
    return type == ColumnType::Byte || type == ColumnType::Short || type == ColumnType::Long ||
           type == ColumnType::Single || type == ColumnType::Double ||
           type == ColumnType::Currency || type == ColumnType::Decimal;
}

// With qualifiers around it, and its own doubled.
void AppendQualified(std::string_view text, const std::string& qualifier, std::string& out) {
    out += qualifier;
    std::size_t from = 0;
    for (;;) {
        const auto hit = text.find(qualifier, from);
        out += text.substr(from, hit - from);
        if (hit == std::string_view::npos) {
            break;
        }
        out += qualifier + qualifier;
        from = hit + qualifier.size();
    }
    out += qualifier;
}

}  // namespace

// Names of a file of fixed width stand side by side without quotes; its reader passes the line
// over.
std::string HeaderLine(const TableFormat& format, std::span<const std::string> names) {
    std::string line;
    for (const std::string& name : names) {
        line += line.empty() ? "" : format.delimiter;
        if (format.qualifier.empty() || format.layout != SplitRules::Layout::Delimited) {
            line += name;
        } else {
            AppendQualified(name, format.qualifier, line);
        }
    }
    line += kLineBreak;
    return line;
}

LineWriter::LineWriter(const TableSource& source, const TableLayout& layout)
    : source_(source), columns_(layout.columns), forms_(source.Forms()) {
    readers_.reserve(columns_.size());
    for (const TextColumn& column : columns_) {
        readers_.emplace_back(column, forms_);
    }
}

const std::string& LineWriter::LineOf(std::span<const Cell> row) {
    line_.clear();
    const bool fixed = forms_.fixed_columns;
    for (std::size_t k = 0; k < columns_.size(); ++k) {
        if (k > 0 && !fixed && !source_.encoding.AppendFileBytes(source_.format.delimiter, line_)) {
            Refuse(columns_[k], "the character set of the file hasn't the delimiter before it");
        }
        field_.clear();
        if (k < row.size() && !row[k].IsNull() && !row[k].IsUnset()) {
            AppendValue(k, row[k]);
        }
        if (fixed) {
            PadField(columns_[k], source_.format.columns[k].width);
        }
        if (!source_.encoding.AppendFileBytes(field_, line_)) {
            Refuse(columns_[k], "it has a character that the character set of the file hasn't");
        }
    }
    if (line_.empty()) {
        // An empty line would be no row.
        const std::string& qualifier = source_.format.qualifier;
        if (qualifier.empty()) {
            // Quotes would tell it from an empty line.
            Refuse(columns_.front(), "a row of one empty field would be no row");
        }
        source_.encoding.AppendFileBytes(qualifier + qualifier, line_);
    }
    source_.encoding.AppendFileBytes(kLineBreak, line_);
    return line_;
}

void LineWriter::AppendValue(std::size_t position, const Cell& value) {
    const TextColumn& column = columns_[position];
    if (column.type == ColumnType::Text || column.type == ColumnType::Memo) {
        AppendText(column, ToText(value));
        return;
    }
    const bool made = AppendPlain(column, value);
    made_.Clear();
    const Cell read = readers_[position].Read(field_, FieldSpan(0, field_.size()), false, made_);
    if (!made || read.Kind() == ValueKind::Unreadable) {
        Refuse(column, "it is not " + readers_[position].Wanted(field_));
    }
    if (read.Kind() == ValueKind::DateTime) {
        RequireYear(column, *ToDateTime(value), read.AsDateTime());
    }
    // A decimal comma, or a date with blanks in a file that is delimited by blanks.
    if (!forms_.fixed_columns && field_.find(source_.format.delimiter) != std::string::npos) {
        if (forms_.qualifier.empty()) {
            Refuse(column, "it has the delimiter in it, and the file has no text qualifier");
        }
        field_ = forms_.qualifier + field_ + forms_.qualifier;
    }
}

// A form leaves out what it leaves out; but of two digits another century would come back.
void LineWriter::RequireYear(const TextColumn& column,
                             const DateTime& value,
                             const DateTime& read) const {
    const auto& picture = PictureOf(column);
    if (picture && picture->HasYear() && CalendarOf(value.day).year != CalendarOf(read.day).year) {
        Refuse(column, "its year can't be told in the form " + picture->Text());
    }
}

bool LineWriter::AppendPlain(const TextColumn& column, const Cell& value) {
    if (column.type == ColumnType::Bit) {
        const auto boolean = ToBoolean(value);
        field_ += boolean.value_or(false) ? "True" : "False";
        return boolean.has_value();
    }
    if (column.type == ColumnType::DateTime) {
        const auto date = ToDateTime(value);
        if (!date) {
            return false;
        }
        if (const auto& picture = PictureOf(column)) {
            field_ += FormatDateTime(*date, picture->Text());
        } else {
            AppendDateTime(*date, field_);
        }
        return true;
    }
    return IsNumberType(column.type) && AppendNumber(column, value);
}

bool LineWriter::AppendNumber(const TextColumn& column, const Cell& value) {
    const TableFormat& format = source_.format;
    const bool whole = column.type == ColumnType::Byte || column.type == ColumnType::Short ||
                       column.type == ColumnType::Long;
    const auto digits =
        column.type == ColumnType::Currency ? format.currency_digits : format.number_digits;
    // More digits than a decimal can have would be ignored by readers, too.
    if (digits && !whole && *digits <= kMostDecimals) {
        const auto rounded = vantry::ToDecimal(value, *digits);
        if (!rounded) {
            return false;
        }
        vantry::AppendDecimal(*rounded, field_);
    } else if (const auto decimal = vantry::ToDecimal(value)) {
        vantry::AppendDecimal(WithoutTrailingZeros(*decimal), field_);
    } else if (const auto number = vantry::ToDouble(value)) {
        AppendDouble(*number, field_);
    } else {
        return false;
    }
    const auto dot = field_.find('.');
    if (dot == std::string::npos) {
        return true;
    }
    field_.replace(dot, 1, format.numbers.decimal_symbol);
    if (!format.number_leading_zeros && dot > 0 && field_[dot - 1] == '0' &&
        (dot == 1 || field_[dot - 2] == '-')) {
        field_.erase(dot - 1, 1);
    }
    return true;
}

void LineWriter::AppendText(const TextColumn& column, std::string_view text) {
    // In UTF-16 units, as the reader of the column counts them.
    if (column.width > 0 && CountUtf16Units(text) > column.width) {
        throw DataError(kErrFieldTooSmall,
                        "File '" + source_.file->Path() + "', column '" + column.name +
                            "': The field is too small to accept the amount of data you attempted "
                            "to add.  Try inserting or pasting less data.");
    }
    if (text.find('\0') != std::string_view::npos) {
        Refuse(column, "it has a NUL character in it");
    }
    const std::string& qualifier = forms_.qualifier;
    if (forms_.fixed_columns || qualifier.empty()) {
        if (text.find_first_of("\r\n") != std::string_view::npos ||
            (!forms_.fixed_columns &&
             text.find(source_.format.delimiter) != std::string_view::npos)) {
            Refuse(column,
                   "it has a line break or the delimiter in it, and the file has no text "
                   "qualifier");
        }
        field_ += text;
        return;
    }
    AppendQualified(text, qualifier, field_);
}

// Widths are characters here; a value is never cut, as its end would be lost in silence.
void LineWriter::PadField(const TextColumn& column, std::size_t width) {
    const std::size_t length = CountCodePoints(field_);
    if (length > width) {
        Refuse(column, "it is wider than the column");
    }
    field_.append(width - length, ' ');
}

void LineWriter::Refuse(const TextColumn& column, std::string_view reason) const {
    throw ValueDoesNotFit(source_.file->Path(), column.name, reason);
}

void AppendJournal::Append(const std::shared_ptr<TextFile>& file,
                           const TextEncoding& encoding,
                           std::string_view line) {
    file::File target = file::File::Open(file->Path(), file::OpenMode::ReadWrite);
    const file::FileStamp before = target.Stamp();
    // By what the file was then its encoding and columns are known, which the line was made for.
    if (!IsSameState(before, file->Stamp())) {
        throw ChangedWhileRead(file->Path());
    }
    std::string bytes;
    if (EndsWithinLine(target, before.size, encoding)) {
        encoding.AppendFileBytes(kLineBreak, bytes);
    }
    bytes += line;
    const auto hold = file->HoldReads();
    try {
        target.Write(before.size, std::as_bytes(std::span(bytes)));
    } catch (const DataError&) {
        target.Truncate(before.size);  // half a line would be a wrong row
        file->Refresh();
        throw;
    }
    file->Refresh();
    const auto known = std::find_if(
        files_.begin(), files_.end(), [&](const Grown& grown) { return grown.file == file; });
    // The first size of a file is what a rollback goes back to.
    if (known == files_.end()) {
        files_.push_back({file, before.size, before.size + bytes.size()});
    } else {
        known->new_size = before.size + bytes.size();
    }
}

void AppendJournal::Rollback() {
    const auto files = std::move(files_);
    files_.clear();
    for (const Grown& grown : files) {
        file::File target = file::File::Open(grown.file->Path(), file::OpenMode::ReadWrite);
        const auto hold = grown.file->HoldReads();
        // If somebody has added lines behind ours, cutting would take those away.
        if (target.Size() == grown.new_size) {
            target.Truncate(grown.old_size);
            grown.file->Refresh();
        }
    }
}

}  // namespace vantry::text
