#pragma once
// How values stand in a line of a text file: blanks, numbers of a fixed width, and the function
// that writes a column's values, chosen once a table.

#include "core/session_state.h"
#include "text/line_file.h"

#include <cstddef>
#include <string>

namespace vantry {

// n blanks; none for a negative n.
std::string Blanks(i32 n);

// A number in the fixed width of its type: 7, 17 or 21 characters, cut to its left part when it is
// longer; a null gives blanks, a type without a width an empty text. `raw` takes the value's text
// unchanged, else it is trimmed. By code numbers stand to the right; by name, for heading lines,
// they stand to the left.
std::string FixedNumberByCode(const Cell& value, i16 code, i16 raw);
std::string FixedNumberByName(const Cell& value, const std::string& type_name, i16 raw);

namespace text {

enum class FieldClass { Number, Date, TimeStamp, Boolean, Text, Numeric, VarNumeric, Other };
FieldClass ClassOfType(int type);
// The class by the type's name in the column map: a few names, and type codes in text form.
FieldClass ClassOfTypeName(const std::string& name);

// Characters of a number of this type code in a file of fixed width; 0: no width of its own.
std::size_t WidthOfNumber(int type);

// What the columns of a file have in common.
struct LineStyle {
    std::string qualifier;
    std::string delimiter;  // follows every field; the line's end takes the last one back
    std::string closing;    // qualifier and delimiter
    std::string scratch;    // texts of values that aren't text in themselves
    // Texts that a spreadsheet takes for formulas, numbers apart: they are written as they are, or
    // where a user asks for it with a "'" before them.
    std::int64_t formulas = 0;
    bool spreadsheet_safe = false;
    bool delimited = true;  // rather than of fixed width
};

// One column of the lines that are being written.
struct LineColumn {
    Field* field = nullptr;
    LineStyle* style = nullptr;
    std::size_t width = 0;  // fixed width: characters
    void (*write)(const LineColumn& column, LineFile& line) = nullptr;
};
LineColumn DelimitedColumn(Field& field, FieldClass field_class, LineStyle& style);
LineColumn FixedColumn(Field& field, FieldClass field_class, LineStyle& style);

// Characters of a column of fixed width.
inline constexpr std::size_t kDateWidth = 10;
inline constexpr std::size_t kBooleanWidth = 5;
inline constexpr std::size_t kTimeStampWidth = 22;
inline constexpr std::size_t kVarNumericWidth = 40;

// So many characters a column of fixed width takes in a line.
std::size_t WrittenWidth(const LineColumn& column);

// A column's place in a heading line of fixed width.
std::string FixedHeading(const ColMapRec& row);

}  // namespace text
}  // namespace vantry
