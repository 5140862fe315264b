// How one file is to be read: the connection string first, then its section of Schema.ini over it,
// key by key. Both are written by hand and by other programs, so nothing here fails: a word that
// isn't understood leaves what was there, as refusing the file
// would help less than reading it. Easy to get wrong: a semicolon may be the delimiter inside
// "Delimited(;)" of a string that is itself cut at semicolons, a column's name may have blanks and
// quotes, and two spellings of TextDelimiter are in use.

#include "drivers/text/table_format.h"

#include "data/utf.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace vantry::text {
namespace {

// A width of a mistyped line must not make rows of gigabytes.
constexpr std::uint32_t kMaxWidth = 1'000'000;

std::optional<bool> BooleanOf(std::string_view word) {
    constexpr std::array<std::string_view, 4> kTrueWords = {"True", "Yes", "On", "1"};
    constexpr std::array<std::string_view, 4> kFalseWords = {"False", "No", "Off", "0"};
    const auto is = [&](std::string_view other) { return EqualsNoCase(word, other); };
    if (std::any_of(kTrueWords.begin(), kTrueWords.end(), is)) {
        return true;
    }
    if (std::any_of(kFalseWords.begin(), kFalseWords.end(), is)) {
        return false;
    }
    return std::nullopt;
}

std::optional<int> NumberOf(std::string_view word) {
    int number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    return error == std::errc() && end == word.data() + word.size() && number >= 0
               ? std::optional(number)
               : std::nullopt;
}

// Of a setting that is to be one character: what stands behind it is ignored.
std::string FirstCharacter(std::string_view text) {
    std::size_t position = 0;
    if (!text.empty()) {
        NextCodePoint(text, position);
    }
    return std::string(text.substr(0, position));
}

// Line breaks and the qualifier's own character can't separate fields.
std::string DelimiterOf(std::string_view inside) {
    std::string delimiter = FirstCharacter(inside);
    const bool usable =
        !delimiter.empty() && delimiter != "\n" && delimiter != "\r" && delimiter != "\"";
    return usable ? delimiter : ",";
}

void ApplyFormatWord(std::string_view word, TableFormat& format) {
    constexpr std::string_view kDelimited = "Delimited";
    if (EqualsNoCase(word, "CSVDelimited") || EqualsNoCase(word, kDelimited)) {
        format.layout = SplitRules::Layout::Delimited;
        format.delimiter = ",";
    } else if (EqualsNoCase(word, "TabDelimited")) {
        format.layout = SplitRules::Layout::Delimited;
        format.delimiter = "\t";
    } else if (EqualsNoCase(word, "FixedLength") || EqualsNoCase(word, "Fixed")) {
        format.layout = SplitRules::Layout::RaggedEdge;
    } else if (word.size() > kDelimited.size() && word[kDelimited.size()] == '(' &&
               EqualsNoCase(word.substr(0, kDelimited.size()), kDelimited)) {
        format.layout = SplitRules::Layout::Delimited;
        std::string_view inside = word.substr(kDelimited.size() + 1);
        if (inside.size() > 1 && inside.ends_with(')')) {
            inside.remove_suffix(1);
        } else if (inside == ")") {
            inside = {};
        }
        format.delimiter = DelimiterOf(inside);
    }
}

void ApplyQualifier(std::string_view value, TableFormat& format) {
    format.qualifier = EqualsNoCase(value, "none") ? "" : FirstCharacter(value);
    if (format.qualifier == "\n" || format.qualifier == "\r") {
        format.qualifier.clear();
    }
}

std::string_view TakeWord(std::string_view& rest) {
    rest = TrimBlanks(rest);
    const auto end = rest.find_first_of(" \t");
    const std::string_view word = rest.substr(0, end);
    rest.remove_prefix(word.size());
    return word;
}

// A quote that isn't closed is part of the name.
std::string_view TakeName(std::string_view& rest) {
    rest = TrimBlanks(rest);
    if (!rest.empty() && rest.front() == '"') {
        const auto close = rest.find('"', 1);
        if (close != std::string_view::npos) {
            const std::string_view name = rest.substr(1, close - 1);
            rest.remove_prefix(close + 1);
            return name;
        }
    }
    return TakeWord(rest);
}

// "Integer" is four bytes here: documents disagree, and so no value is lost.
constexpr std::array<std::pair<std::string_view, ColumnType>, 19> kTypeWords = {{
    {"Bit", ColumnType::Bit},        {"Byte", ColumnType::Byte},
    {"Short", ColumnType::Short},    {"Long", ColumnType::Long},
    {"Integer", ColumnType::Long},   {"Currency", ColumnType::Currency},
    {"Single", ColumnType::Single},  {"Double", ColumnType::Double},
    {"Float", ColumnType::Double},   {"DateTime", ColumnType::DateTime},
    {"Date", ColumnType::DateTime},  {"Text", ColumnType::Text},
    {"Char", ColumnType::Text},      {"Memo", ColumnType::Memo},
    {"LongChar", ColumnType::Memo},  {"Decimal", ColumnType::Decimal},
    {"Binary", ColumnType::Binary},  {"OLE", ColumnType::Ole},
    {"LongBinary", ColumnType::Ole},
}};

std::optional<ColumnType> FindType(std::string_view word) {
    for (const auto& [name, type] : kTypeWords) {
        if (EqualsNoCase(word, name)) {
            return type;
        }
    }
    return std::nullopt;
}

// name type [Width n] [Precision n] [Scale n], or for dates a picture behind the type.
DeclaredColumn ColumnOf(std::string_view line) {
    DeclaredColumn column;
    column.name = TakeName(line);
    column.type = TypeOfWord(TakeWord(line));
    line = TrimBlanks(line);
    if (column.type == ColumnType::DateTime && !line.empty() &&
        !EqualsNoCase(line.substr(0, 5), "Width")) {
        column.picture.emplace(line);
        return column;
    }
    while (!line.empty()) {
        const std::string_view word = TakeWord(line);
        std::string_view ahead = line;
        // A word without a number behind it is passed over alone: the next may be a known one.
        const auto number = NumberOf(TakeWord(ahead));
        if (!number) {
            continue;
        }
        line = ahead;
        if (EqualsNoCase(word, "Width")) {
            column.width = std::min(static_cast<std::uint32_t>(*number), kMaxWidth);
        } else if (EqualsNoCase(word, "Precision")) {
            column.precision = std::clamp(*number, 1, 38);
        } else if (EqualsNoCase(word, "Scale")) {
            column.scale = std::clamp(*number, 0, 38);
        }
    }
    column.scale = std::min(column.scale, column.precision);
    return column;
}

// A whole line in quotes is either such a name alone or a line that someone has quoted.
DeclaredColumn ColumnOf(std::string_view as_written, std::string_view unquoted) {
    std::string_view rest = unquoted;
    TakeName(rest);
    const bool quoted_line =
        as_written.size() != unquoted.size() && FindType(TakeWord(rest)).has_value();
    return ColumnOf(quoted_line ? unquoted : as_written);
}

void ApplyColumns(const SchemaSection& section, TableFormat& format) {
    for (int number = 1;; ++number) {
        const std::string key = "Col" + std::to_string(number);
        const auto line = section.GetQuoted(key);
        if (!line) {
            return;
        }
        format.columns.push_back(ColumnOf(*line, *section.Get(key)));
    }
}

void ApplySymbols(const SchemaSection& section, TableFormat& format) {
    const auto symbol = [&](std::string_view key, std::string& place, bool one_character) {
        const auto value = section.Get(key);
        if (value && !value->empty()) {
            place = one_character ? FirstCharacter(*value) : std::string(*value);
        }
    };
    symbol("DecimalSymbol", format.numbers.decimal_symbol, true);
    symbol("CurrencySymbol", format.numbers.currency_symbol, false);
    symbol("CurrencyThousandSymbol", format.numbers.currency_thousand_symbol, true);
    symbol("CurrencyDecimalSymbol", format.numbers.currency_decimal_symbol, true);
    if (const auto value = section.Get("NumberDigits")) {
        format.number_digits = NumberOf(*value);
    }
    if (const auto value = section.Get("NumberLeadingZeros")) {
        format.number_leading_zeros = BooleanOf(*value).value_or(true);
    }
    if (const auto value = section.Get("CurrencyDigits")) {
        format.currency_digits = NumberOf(*value);
    }
}

}  // namespace

ColumnType TypeOfWord(std::string_view word) {
    return FindType(word).value_or(ColumnType::Text);
}

TableFormat FormatOfConnection(const ConnectionString& connection) {
    TableFormat format;
    format.layout_file = connection.Get("Layout File");
    std::string_view rest = connection.Get("Extended Properties");
    while (!rest.empty()) {
        // A semicolon in round brackets is the delimiter itself.
        auto end = rest.find(';');
        if (end != std::string_view::npos && end > 0 && rest[end - 1] == '(') {
            end = rest.find(';', end + 1);
        }
        const std::string_view property = TrimBlanks(rest.substr(0, end));
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        const auto equals = property.find('=');
        if (equals == std::string_view::npos) {
            continue;
        }
        const std::string_view key = TrimBlanks(property.substr(0, equals));
        const std::string_view value = TrimBlanks(property.substr(equals + 1));
        if (EqualsNoCase(key, "HDR")) {
            format.has_header = BooleanOf(value).value_or(true);
        } else if (EqualsNoCase(key, "FMT")) {
            ApplyFormatWord(value, format);
        } else if (EqualsNoCase(key, "CharacterSet")) {
            format.character_set = value;
        }
    }
    return format;
}

void ApplySection(const SchemaSection* section, TableFormat& format) {
    if (section == nullptr) {
        return;
    }
    if (const auto value = section->Get("Format")) {
        ApplyFormatWord(*value, format);
    }
    if (const auto value = section->Get("FixedFormat");
        value && format.layout == SplitRules::Layout::RaggedEdge &&
        EqualsNoCase(*value, "TrueFixedLength")) {
        format.layout = SplitRules::Layout::TrueFixedLength;
    }
    if (const auto value = section->Get("ColNameHeader")) {
        format.has_header = BooleanOf(*value).value_or(format.has_header);
    }
    if (const auto value = section->Get("MaxScanRows")) {
        format.max_scan_rows = NumberOf(*value).value_or(format.max_scan_rows);
    }
    if (const auto value = section->Get("CharacterSet"); value && !value->empty()) {
        format.character_set = *value;
    }
    // The second spelling stands in widely copied instructions.
    const auto delimiter = section->Get("TextDelimiter");
    if (const auto value = delimiter ? delimiter : section->Get("TextDelimeter")) {
        ApplyQualifier(*value, format);
    }
    // One character can't be both: it separates.
    if (format.qualifier == format.delimiter) {
        format.qualifier.clear();
    }
    if (const auto value = section->Get("DateTimeFormat"); value && !value->empty()) {
        format.picture.emplace(*value);
    }
    ApplySymbols(*section, format);
    ApplyColumns(*section, format);
}

}  // namespace vantry::text
