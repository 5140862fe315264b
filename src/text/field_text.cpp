// What a field looks like in a text file. The way of writing is chosen once for each column, as a
// function; for each row it puts the value straight into the line. The widths and cuts of fixed
// files are uneven from type to type, and on purpose stay so: other programs read these files by
// position, and one column that became wider would shift all behind it. Easy to get wrong: widths
// count characters, not bytes; a text of a fixed file is padded but never cut, a number is cut, a
// numeric that doesn't fit becomes blanks.

#include "text/field_text.h"

#include "data/letter_case.h"
#include "data/utf.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "engine/content_sum.h"

#include <algorithm>
#include <initializer_list>

namespace vantry {
namespace {

// Digits of the widest value of each type, as those files have always had them.
std::size_t WidthOfCode(int code) {
    switch (code) {
        case adSmallInt:
        case adInteger:
            return 7;
        case adDouble:
            return 17;
        case adCurrency:
            return 21;
        default:
            return 0;
    }
}

// Names in any letter case, but for the first one.
std::size_t WidthOfName(const std::string& name) {
    const std::string upper = UpperCased(name);
    // Files that were written so are read by position: another width would shift all fields behind
    // it.
    if (name == "SMALLINT" || upper == "INTEGER") {
        return 7;
    }
    if (upper == "DOUBLE" || upper == "LONG") {
        return 17;
    }
    return upper == "CURRENCY" || upper == "MONEY" ? 21 : 0;
}

std::size_t CountCharacters(std::string_view text) {
    return IsAscii(text) ? text.size() : CountCodePoints(text);
}

std::string_view LeftPart(std::string_view text, std::size_t characters) {
    std::size_t position = 0;
    for (; characters > 0 && position < text.size(); --characters) {
        NextCodePoint(text, position);
    }
    return text.substr(0, position);
}

std::string NumberText(const Cell& value, i16 raw) {
    std::string text = ToText(value);
    return raw != kFalse ? text : std::string(Trimmed(text));
}

std::string CutOrPadded(std::string_view text, std::size_t width) {
    const std::size_t characters = CountCharacters(text);
    if (characters >= width) {
        return std::string(LeftPart(text, width));
    }
    return std::string(text).append(width - characters, ' ');
}

}  // namespace

std::string Blanks(i32 n) {
    return std::string(static_cast<std::size_t>(std::max(n, 0)), ' ');
}

std::string FixedNumberByCode(const Cell& value, i16 code, i16 raw) {
    const std::size_t width = WidthOfCode(code);
    const std::string text = NumberText(value, raw);
    const std::size_t characters = CountCharacters(text);
    return characters < width ? std::string(width - characters, ' ') + text
                              : std::string(LeftPart(text, width));
}

std::string FixedNumberByName(const Cell& value, const std::string& type_name, i16 raw) {
    return CutOrPadded(NumberText(value, raw), WidthOfName(type_name));
}

namespace text {
namespace {

// Characters. A source that knows no width for a text gives the largest number there is: no line is
// padded to that.
constexpr std::size_t kWidestField = 1 << 20;

// The value's text, in memory that stands still until the next value; nothing for a null.
std::string_view TextOf(const LineColumn& column) {
    const Cell& value = column.field->Value();
    if (value.IsView()) {
        return value.AsText();
    }
    column.style->scratch.clear();
    AppendText(value, column.style->scratch);
    return column.style->scratch;
}

// ---- Delimited

// A spreadsheet would run such a text as a formula; numbers with a sign are meant as numbers.
[[gnu::noinline, gnu::cold]] std::string_view LeadOfFormula(std::string_view text,
                                                            LineStyle& style) {
    // "-5" and "+49" are values; only what doesn't read as a number can be a formula.
    if (ToDouble(Cell::Text(text))) {
        return {};
    }
    if (style.spreadsheet_safe) {
        return "'";
    }
    ++style.formulas;
    return {};
}

// What is written before the text. By its first byte: letters and digits begin no formula.
std::string_view LeadOf(std::string_view text, LineStyle& style) {
    if (text.empty() || text[0] > '@' || !IsFormulaSign(text[0])) {
        return {};
    }
    return LeadOfFormula(text, style);
}

// The value as it stands; nothing for a null.
void WriteValue(const LineColumn& column, LineFile& line) {
    const Cell& value = column.field->Value();
    switch (value.Kind()) {
        case ValueKind::Text:
            line.Append(
                LeadOf(value.AsText(), *column.style), value.AsText(), column.style->delimiter);
            return;
        case ValueKind::NumberText:
        case ValueKind::Bytes:
            line.Append({}, value.AsText(), column.style->delimiter);
            return;
        case ValueKind::Null:
            line.Append(column.style->delimiter);
            return;
        default:
            line.AppendMade(
                {},
                kLongestShortText,
                [&value](char* to) { return PutShortText(value, to); },
                column.style->delimiter);
            return;
    }
}

// Between qualifiers, without the blanks at its ends; nothing for a null.
void WriteQualified(const LineColumn& column, LineFile& line) {
    const Cell& value = column.field->Value();
    if (value.IsNull()) {
        line.Append(column.style->delimiter);
        return;
    }
    const std::string_view text = Trimmed(TextOf(column));
    if (const auto lead = LeadOf(text, *column.style); !lead.empty()) {
        line.Append(column.style->qualifier);
        line.Append(lead, text, column.style->closing);
        return;
    }
    line.Append(column.style->qualifier, text, column.style->closing);
}

// ---- Fixed width

enum class Side { Left, Right };

// Padded to the column's width, never cut.
template <Side text_side>
void WritePadded(std::string_view text, const LineColumn& column, LineFile& line) {
    const std::size_t characters = CountCharacters(text);
    const std::size_t blanks = column.width > characters ? column.width - characters : 0;
    if (text_side == Side::Left) {
        line.Append(text);
        line.AppendBlanks(blanks);
    } else {
        line.AppendBlanks(blanks);
        line.Append(text);
    }
}

void WriteLeft(const LineColumn& column, LineFile& line) {
    WritePadded<Side::Left>(TextOf(column), column, line);
}

void WriteRight(const LineColumn& column, LineFile& line) {
    WritePadded<Side::Right>(TextOf(column), column, line);
}

void WriteRightTrimmed(const LineColumn& column, LineFile& line) {
    WritePadded<Side::Right>(Trimmed(TextOf(column)), column, line);
}

// A number that is too long for its column comes out as blanks.
void WriteNumeric(const LineColumn& column, LineFile& line) {
    const std::string_view text = Trimmed(TextOf(column));
    WritePadded<Side::Right>(
        CountCharacters(text) > column.width ? std::string_view() : text, column, line);
}

// A number that is too long for its type is cut; a type without a width leaves no place.
void WriteNumber(const LineColumn& column, LineFile& line) {
    const std::string_view text = Trimmed(TextOf(column));
    WritePadded<Side::Right>(LeftPart(text, column.width), column, line);
}

void WriteBoolean(const LineColumn& column, LineFile& line) {
    line.Append(ToBoolean(column.field->Value()).value_or(false) ? "True " : "False");
}

void RefuseWidth(const LineColumn& column, LineFile& /*line*/) {
    throw DataError(kErrFieldTooSmall,
                    "Column " + column.field->Name() + " is " + std::to_string(column.width) +
                        " characters wide, too much for a file of fixed width. Choose the "
                        "delimited format or de-select the column.");
}

std::size_t SizeOf(const Field& field) {
    return field.DefinedSize() > 0 ? static_cast<std::size_t>(field.DefinedSize()) : 0;
}

}  // namespace

FieldClass ClassOfType(int type) {
    switch (type) {
        case adSmallInt:
        case adInteger:
        case adDouble:
        case adCurrency:
            return FieldClass::Number;
        case adDate:
        case adDBDate:
        case adDBTime:
            return FieldClass::Date;
        case adDBTimeStamp:
            return FieldClass::TimeStamp;
        case adBoolean:
            return FieldClass::Boolean;
        case adChar:
        case adWChar:
        case adVarChar:
        case adLongVarChar:
        case adVarWChar:
        case adLongVarWChar:
            return FieldClass::Text;
        case adNumeric:
            return FieldClass::Numeric;
        case adVarNumeric:
            return FieldClass::VarNumeric;
        default:
            return FieldClass::Other;
    }
}

FieldClass ClassOfTypeName(const std::string& name) {
    struct NameClass {
        std::string_view name;
        FieldClass field_class;
    };
    static constexpr NameClass kClasses[] = {
        {"Char", FieldClass::Text},     {"VarWchar", FieldClass::Text},
        {"129", FieldClass::Text},      {"200", FieldClass::Text},
        {"201", FieldClass::Text},      {"203", FieldClass::Text},
        {"202", FieldClass::Text},      {"130", FieldClass::Text},
        {"Date", FieldClass::Date},     {"7", FieldClass::Date},
        {"133", FieldClass::Date},      {"134", FieldClass::Date},
        {"135", FieldClass::TimeStamp}, {"Integer", FieldClass::Number},
        {"2", FieldClass::Number},      {"3", FieldClass::Number},
        {"5", FieldClass::Number},      {"6", FieldClass::Number},
        {"131", FieldClass::Numeric},   {"139", FieldClass::VarNumeric},
        {"11", FieldClass::Boolean},
    };
    for (const auto& row : kClasses) {
        if (row.name == name) {
            return row.field_class;
        }
    }
    return FieldClass::Other;
}

std::size_t WidthOfNumber(int type) {
    return WidthOfCode(type);
}

LineColumn DelimitedColumn(Field& field, FieldClass field_class, LineStyle& style) {
    return {&field, &style, 0, field_class == FieldClass::Text ? WriteQualified : WriteValue};
}

LineColumn FixedColumn(Field& field, FieldClass field_class, LineStyle& style) {
    LineColumn column{&field, &style, 0, WriteRight};
    switch (field_class) {
        case FieldClass::Number:
            column.width = WidthOfCode(field.Type());
            column.write = WriteNumber;
            break;
        case FieldClass::Date:
            column.width = kDateWidth;
            column.write = WriteLeft;
            break;
        case FieldClass::TimeStamp:
            column.width = kTimeStampWidth;
            column.write = WriteLeft;
            break;
        case FieldClass::Boolean:
            column.write = WriteBoolean;
            break;
        case FieldClass::Text:
            column.width = SizeOf(field);
            column.write = WriteLeft;
            break;
        case FieldClass::Numeric:
            column.width = SizeOf(field);
            column.write = WriteNumeric;
            break;
        case FieldClass::VarNumeric:
            column.width = kVarNumericWidth;
            column.write = WriteRightTrimmed;
            break;
        case FieldClass::Other:
            column.width = SizeOf(field);
            break;
    }
    // Refused row by row and not at once: the run's error limit then gives it up, as any other
    // fault of a column.
    if (column.width > kWidestField) {
        column.write = RefuseWidth;
    }
    return column;
}

std::size_t WrittenWidth(const LineColumn& column) {
    return column.write == WriteBoolean ? kBooleanWidth : column.width;
}

std::string FixedHeading(const ColMapRec& row) {
    const std::string type = UpperCased(row.DDtype);
    const auto is_one_of = [&](std::initializer_list<std::string_view> names) {
        return std::find(names.begin(), names.end(), type) != names.end();
    };
    if (is_one_of({"DATE", "DATETIME", "SHORTDATE", "TIMESTAMP"})) {
        return CutOrPadded(row.DCName, 10);
    }
    if (is_one_of({"SMALLINT",
                   "INTEGER",
                   "DOUBLE",
                   "CURRENCY",
                   "LONG",
                   "MONEY",
                   "MEDIUMINT",
                   "LONGINT"})) {
        return FixedNumberByName(Cell::Text(row.DCName), row.DDtype, kTrue);
    }
    if (is_one_of({"BOOLEAN", "BIT"})) {
        return CutOrPadded(row.DCName, 5);
    }
    return CutOrPadded(row.DCName, static_cast<std::size_t>(std::max(row.DWidth, 0)));
}

}  // namespace text
}  // namespace vantry
