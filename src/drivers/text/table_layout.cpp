// Which columns a file has. Declared columns are taken as they are; else the header gives the names
// and the first rows the types, each field widening the guess of its column. What was found is
// remembered by path, state and every setting that matters for it, since each statement of a
// session asks again. Easy to get wrong: the header of a file of fixed records is a line of any
// length; rows may be wider than the header; and a file that was changed within the last two
// seconds may change again without another time stamp, so it isn't remembered.

#include "drivers/text/table_layout.h"

#include "data/letter_case.h"
#include "data/reject_form.h"
#include "data/utf.h"
#include "data/value_text.h"
#include "text_format/errors.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

namespace vantry::text {
namespace {

constexpr std::size_t kHeadBytes = std::size_t{64} << 10;
constexpr std::size_t kMaxRemembered = 64;
constexpr std::int64_t kSettledNanos = 2'000'000'000;

// Bytes that no text has: below the tab and between the line breaks and the blank. An escape or a
// Ctrl-Z is seen in old files.
bool IsForeign(unsigned char byte) {
    return byte < 0x09 || (byte > 0x0D && byte < 0x20 && byte != 0x1A && byte != 0x1B);
}

// More of them than one in so many bytes is no accident of a few fields.
constexpr std::size_t kForeignShare = 20;
constexpr std::size_t kFewForeign = 4;

// Whether NUL bytes stand at every second place, or nearly: Latin text of two bytes a character.
bool LooksLikeUtf16(std::string_view head) {
    std::array<std::size_t, 2> nuls{};
    for (std::size_t at = 0; at < head.size(); ++at) {
        nuls[at % 2] += head[at] == '\0' ? 1 : 0;
    }
    return std::max(nuls[0], nuls[1]) * 4 > head.size() &&
           std::min(nuls[0], nuls[1]) * 8 < std::max(nuls[0], nuls[1]);
}

// A file is judged as a whole: a stray control byte is data like any other.
void RequireText(const TableSource& source, std::string_view head) {
    if (source.encoding.IsUtf16()) {
        return;
    }
    // Who names a character set knows what the control bytes of the file are.
    const bool only_nul = !source.format.character_set.empty();
    const std::string own = source.format.delimiter + source.format.qualifier;
    ForeignBytes found{.looked_at = head.size()};
    std::int64_t line = 1;
    for (const char c : head) {
        line += c == '\n' ? 1 : 0;
        const auto byte = static_cast<unsigned char>(c);
        if ((byte == 0 || (!only_nul && IsForeign(byte))) && own.find(c) == std::string::npos) {
            found.first_line = found.count == 0 ? line : found.first_line;
            ++found.count;
            found.nuls += byte == 0 ? 1 : 0;
        }
    }
    // One is enough: no text has any, and databases would cut a value there.
    if (found.nuls > 0) {
        throw LooksLikeUtf16(head) ? TwoByteText(source.file->Path())
                                   : NotText(source.file->Path(), found);
    }
    if (found.count > kFewForeign && found.count * kForeignShare > head.size()) {
        throw NotText(source.file->Path(), found);
    }
}

// What the header, its cells as text, and the widest row make of the columns.
std::vector<TextColumn> NameColumns(const std::vector<std::string>& header, std::size_t count) {
    ColumnNamer namer;
    std::vector<TextColumn> columns(count);
    for (std::size_t k = 0; k < count; ++k) {
        columns[k].guessed = true;
        columns[k].name = namer.Next(k < header.size() ? header[k] : "F" + std::to_string(k + 1));
    }
    return columns;
}

std::vector<TextColumn> DeclaredColumns(const TableSource& source) {
    ColumnNamer namer;
    std::vector<TextColumn> columns;
    for (const DeclaredColumn& declared : source.format.columns) {
        TextColumn column;
        column.name = namer.Next(declared.name);
        column.type = declared.type;
        column.width = declared.width;
        if (column.type == ColumnType::Text) {
            if (column.width > kMaxTextUnits) {
                column.type = ColumnType::Memo;  // the only type that can hold what is promised
            }
            column.width = column.width == 0 ? kMaxTextUnits : column.width;
        }
        if (column.type != ColumnType::Text) {
            column.width = 0;
        }
        column.precision = declared.precision;
        column.scale = declared.scale;
        column.picture = declared.picture;
        columns.push_back(std::move(column));
    }
    return columns;
}

std::vector<std::string> ReadHeader(RowReader& reader, const FileForms& forms) {
    std::vector<std::string> header;
    FieldReader text(TextColumn{}, forms);
    const SplitRow row = reader.Row();
    const std::size_t count = std::min(row.FieldCount(), kMaxColumns);
    for (std::size_t k = 0; k < count; ++k) {
        const FieldSpan field = row.Field(k);
        header.push_back(text.ShownText(row.Bytes(field), field));
    }
    return header;
}

// Where the rows begin behind the header.
std::int64_t PassHeader(const TableSource& source,
                        ReaderSizes sizes,
                        std::vector<std::string>& header,
                        std::size_t& header_count) {
    SplitRules rules = source.Rules();
    if (rules.layout == SplitRules::Layout::TrueFixedLength) {
        rules.layout = SplitRules::Layout::RaggedEdge;  // a header is a line of any length
    }
    const auto start = static_cast<std::int64_t>(source.encoding.MarkBytes());
    RowReader reader(source.file, source.encoding, rules, start, kMaxColumns, sizes);
    if (!reader.Next()) {
        return source.file->Size();
    }
    if (reader.Row().IsOpen()) {
        throw reader.OpenFieldError();  // all of the file would be a name
    }
    header = ReadHeader(reader, source.Forms());
    header_count = reader.Row().FieldCount();
    return reader.Next() ? reader.RowOffset() : source.file->Size();
}

// Looks at the first rows, with the row path's own reader, so that guesses see what rows will be.
class Guesser {
public:
    Guesser(const TableSource& source, ReaderSizes sizes)
        : source_(source), forms_(source.Forms()), sizes_(sizes), text_(TextColumn{}, forms_) {}

    void Scan(std::int64_t first_row) {
        RowReader reader(
            source_.file, source_.encoding, source_.Rules(), first_row, kMaxColumns, sizes_);
        const int limit = source_.format.max_scan_rows;
        while ((limit == 0 || rows_ < limit)) {
            if (!reader.Next()) {
                at_end_ = true;
                return;
            }
            ++rows_;
            most_fields_ = std::max(most_fields_, reader.Row().FieldCount());
            AddRow(reader.Row());
        }
    }
    // Of a file of rejected rows: values without quotes that are 0x and digits are bytes.
    void LookForBytes() { looks_for_bytes_ = true; }
    bool IsBytes(std::size_t column) const {
        return column < bytes_.size() && bytes_[column].found && !bytes_[column].others;
    }
    std::int64_t Rows() const { return rows_; }
    bool SawAll() const { return at_end_; }
    std::size_t MostFields() const { return most_fields_; }
    ColumnType TypeOf(std::size_t column) const {
        return column < guesses_.size() ? guesses_[column].Type() : ColumnType::Text;
    }

private:
    void AddRow(const SplitRow& row) {
        const std::size_t count = std::min(row.FieldCount(), kMaxColumns);
        if (guesses_.size() < count) {
            guesses_.resize(count);
            bytes_.resize(count);
        }
        for (std::size_t k = 0; k < count; ++k) {
            const FieldSpan field = row.Field(k);
            const std::string_view bytes = row.Bytes(field);
            if (looks_for_bytes_ && !(bytes.empty() && !field.IsQualified())) {
                const bool is_hex = !field.IsQualified() && IsHexForm(bytes);
                (is_hex ? bytes_[k].found : bytes_[k].others) = true;
            }
            // Empty fields fit every type; a column that is text already can't become anything
            // else.
            if (bytes.empty() || guesses_[k].TakesTextOf(bytes.size())) {
                continue;
            }
            if (!field.HasQualifiers() && (row.IsPlain() || IsPlainText(bytes))) {
                guesses_[k].Add(bytes, forms_.values);
            } else {
                guesses_[k].Add(text_.ShownText(bytes, field), forms_.values);
            }
        }
    }

    const TableSource& source_;
    FileForms forms_;
    ReaderSizes sizes_;
    FieldReader text_;
    std::vector<TypeGuess> guesses_;
    struct Seen {
        bool found = false;
        bool others = false;
    };
    std::vector<Seen> bytes_;
    bool looks_for_bytes_ = false;
    std::int64_t rows_ = 0;
    std::size_t most_fields_ = 0;
    bool at_end_ = false;
};

bool IsControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

// The tab can't be a picture: no picture and an empty one stay apart.
std::string Fingerprint(const TableSource& source) {
    const TableFormat& format = source.format;
    const DateForm& dates = LocalDateForm();
    std::string text = source.file->Path();
    const auto add = [&](std::string_view part) {
        text += '\n';
        text += part;
    };
    add(format.delimiter);
    add(format.qualifier);
    add(format.character_set);
    add(format.picture ? format.picture->Text() : "\t");
    add(format.numbers.decimal_symbol);
    add(format.numbers.currency_symbol);
    add(format.numbers.currency_thousand_symbol);
    add(format.numbers.currency_decimal_symbol);
    add(std::to_string(format.max_scan_rows));
    add(format.has_header ? "header" : "");
    add(std::string{static_cast<char>('0' + static_cast<int>(dates.order)), dates.separator});
    return text;
}

}  // namespace

SplitRules TableSource::Rules() const {
    SplitRules rules;
    rules.layout = format.layout;
    rules.bytes = encoding.SplitForm();
    if (format.layout == SplitRules::Layout::Delimited) {
        rules.delimiter = encoding.SplitToken(format.delimiter);
        rules.qualifier = encoding.SplitToken(format.qualifier);
        return rules;
    }
    rules.qualifier.clear();
    for (const DeclaredColumn& column : format.columns) {
        rules.widths.push_back(column.width);
    }
    return rules;
}

FileForms TableSource::Forms() const {
    FileForms forms;
    forms.encoding = encoding;
    forms.qualifier = format.qualifier;
    forms.fixed_columns = format.layout != SplitRules::Layout::Delimited;
    forms.values.numbers = format.numbers;
    forms.values.picture = format.picture;
    return forms;
}

TableSource OpenSource(const std::string& path, TableFormat format) {
    TableSource source;
    source.file = TextFile::Open(path);
    source.format = std::move(format);
    std::string head(kHeadBytes, '\0');
    head.resize(source.file->Read(0, head.data(), head.size()));
    source.encoding = TextEncoding::Choose(source.format.character_set, head, path);
    source.encoding.SettleBy(source.format.delimiter, head);
    RequireText(source, head);
    if (source.format.columns.size() > kMaxColumns) {
        throw TooManyFields(path, source.format.columns.size());
    }
    if (source.format.layout != SplitRules::Layout::Delimited) {
        const auto& columns = source.format.columns;
        if (columns.empty() || std::any_of(columns.begin(), columns.end(), [](const auto& column) {
                return column.width == 0;
            })) {
            throw FixedNeedsColumns(path);
        }
    }
    return source;
}

TableLayout FindLayout(const TableSource& source, ReaderSizes sizes) {
    TableLayout layout;
    std::vector<std::string> header;
    std::size_t header_count = 0;
    layout.first_row = static_cast<std::int64_t>(source.encoding.MarkBytes());
    if (source.format.has_header) {
        layout.first_row = PassHeader(source, sizes, header, header_count);
    }
    // A list of columns defines all of them: the names of the header are passed over.
    if (!source.format.columns.empty()) {
        layout.columns = DeclaredColumns(source);
        return layout;
    }
    Guesser guesser(source, sizes);
    if (header.size() > kRejectColumns.size() &&
        std::equal(kRejectColumns.begin(), kRejectColumns.end(), header.begin())) {
        guesser.LookForBytes();
    }
    guesser.Scan(layout.first_row);
    // Never none: an empty file is a table of one column.
    const std::size_t count = std::max({header_count, guesser.MostFields(), std::size_t{1}});
    if (count > kMaxColumns) {
        throw TooManyFields(source.file->Path(), count);
    }
    layout.columns = NameColumns(header, count);
    for (std::size_t k = 0; k < count; ++k) {
        layout.columns[k].hexadecimal = guesser.IsBytes(k);
        layout.columns[k].type = guesser.IsBytes(k) ? ColumnType::Ole : guesser.TypeOf(k);
    }
    layout.scanned_rows = guesser.Rows();
    if (guesser.SawAll()) {
        layout.row_count = guesser.Rows();
    }
    return layout;
}

std::string ColumnNamer::Next(std::string_view wanted) {
    std::string name(wanted.substr(std::min(wanted.find_first_not_of(" \t"), wanted.size())));
    for (char& c : name) {
        switch (c) {
            case '.':
                c = '#';
                break;
            case '[':
                c = '(';
                break;
            case ']':
                c = ')';
                break;
            case '!':
            case '`':
            case '"':
                c = '_';
                break;
            default:
                c = IsControl(c) ? '_' : c;
                break;
        }
    }
    if (name.empty()) {
        name = "NoName";
    }
    name = PrefixOfUtf16Units(name, kMaxNameUnits);
    std::string unique = name;
    const auto is_taken = [&] {
        return std::find(taken_.begin(), taken_.end(), UpperCased(unique)) != taken_.end();
    };
    // The number takes the place of the last characters, so that a long name stays within the
    // limit.
    for (int number = 1; is_taken(); ++number) {
        const std::string suffix = std::to_string(number);
        unique = std::string(PrefixOfUtf16Units(name, kMaxNameUnits - suffix.size())) + suffix;
    }
    taken_.push_back(UpperCased(unique));
    return unique;
}

std::shared_ptr<const TableLayout> LayoutCache::Find(const TableSource& source) {
    if (!source.format.columns.empty()) {
        return std::make_shared<const TableLayout>(FindLayout(source));  // nothing is guessed
    }
    const std::string key = Fingerprint(source);
    const file::FileStamp stamp = source.file->Stamp();
    {
        const std::lock_guard lock(mutex_);
        const auto found = entries_.find(key);
        if (found != entries_.end() && IsSameState(found->second.stamp, stamp)) {
            return found->second.layout;
        }
    }
    // Without the lock: a guess may take long, and to make it twice does no harm.
    auto layout = std::make_shared<const TableLayout>(FindLayout(source));
    const auto now = std::chrono::duration_cast<std::chrono::nanoseconds>(
                         std::chrono::system_clock::now().time_since_epoch())
                         .count();
    if (now - stamp.modified_ns > kSettledNanos) {
        const std::lock_guard lock(mutex_);
        // Rare enough to begin anew.
        if (entries_.size() >= kMaxRemembered) {
            entries_.clear();
        }
        entries_[key] = {stamp, layout};
    }
    return layout;
}

}  // namespace vantry::text
