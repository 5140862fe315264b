#pragma once
// Sums by which the content of a source and of a target are compared without holding either: one a
// column, 64 bits, of all its values in whatever order. Each value is first put into a form in
// which it is the same on both sides as long as the target holds what was read:
//
// - Numbers are equal by value, whatever their type: 12.50, 12.5 and the double nearest to it; True
//   is -1. A binary fraction stands for the decimals that it is written as with 15, 16 or 17
//   digits. 12 is not 12.34, and a number of more digits than a double keeps is equal to all its
//   digits only. A column of Singles is compared as Singles: 0.1 in a double is what became of it.
// - Dates are equal to the nanosecond; what a SQL Server keeps in steps of 1/300 s is read as it
//   shows it, in milliseconds. A day without its time of day is another moment.
// - Booleans of the source are equal to -1, 1, 0, "True" and "False".
// - Texts are equal by their characters, blanks at their ends among them: a Char that fills them up
//   has changed them. In text files of fixed width the blanks around a text are the column's, and
//   nothing else is a null.
// - A text that goes into a column of numbers or dates, or comes out of one, is compared as a
//   number or a date if it is one; "007" isn't written as a number is, and stays a text. GUIDs are
//   equal with and without braces, in any letter case.
// - Null equals nothing but Null: an empty text, a 0, an F in its place is a difference. Bytes are
//   equal to a text of these bytes.
//
// The check before a run (check/value_judge) calls changed what these rules call different.
//
// What sums don't find: values that have changed places within a column.

#include "data/value.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string_view>
#include <vector>

namespace vantry {

enum class ContentForm : std::uint8_t {
    Text,
    Number,
    Single,
    Moment,
    Boolean,
    NumberOrTruth,
    Guid
};

struct ContentColumn {
    ContentForm form = ContentForm::Text;
    bool filled_up = false;             // blanks around a text are the file's
    bool without_formula_lead = false;  // a "'" before what would be a formula
    bool only_plain_numbers = false;    // a text that isn't written as a number would be isn't one
    std::int64_t nanos = 1;             // a moment is rounded to these
};

// Whether a spreadsheet takes a text that begins so for a formula.
constexpr bool IsFormulaSign(char c) {
    return c == '=' || c == '+' || c == '-' || c == '@' || c == '\t' || c == '\r';
}

// Of the source's values, by the type codes of both sides' columns and the row of the target's
// kind. For a text file the target's type is adEmpty.
ContentColumn ContentColumnOf(int source_type, int target_type);
// The same column as the target gives it back.
ContentColumn AsReadBack(ContentColumn column);

// Whether a text that is a number says no more than the number: "007" and "+7" do. True of a text
// that is no decimal number.
bool IsPlainNumber(std::string_view text);
// Whether the double nearest to the number is written as the number is, or is the number itself.
bool DoubleHolds(const Decimal& number);
// The double nearest to what the Single is written as: 0.1 of 0.1F.
double WrittenAs(float number);

std::uint64_t ContentHash(const Cell& value, const ContentColumn& column);

// By what the usual values of a column are put into their form.
enum class QuickWay : std::uint8_t { None, Text, Number, Moment, Truth };

class ContentSums {
public:
    explicit ContentSums(std::vector<ContentColumn> columns);

    void Add(std::span<const Cell> row) { Count(row, 1); }
    void TakeAway(std::span<const Cell> row) { Count(row, -1); }

    // Those of other rows, of the same columns.
    void Add(const ContentSums& others);

    std::int64_t Rows() const { return rows_; }
    std::span<const std::uint64_t> Sums() const { return sums_; }
    std::span<const ContentColumn> Columns() const { return columns_; }

    // Of a source: the rows that aren't in the target, first and last of each piece.
    std::map<std::int64_t, std::int64_t> left_out;

private:
    void Count(std::span<const Cell> row, std::int64_t sign);

    std::vector<ContentColumn> columns_;
    std::vector<QuickWay> ways_;
    std::vector<std::uint64_t> sums_;
    std::int64_t rows_ = 0;
};

// Takes up what is loaded of the table that is being loaded; null where nobody asks for it.
extern ContentSums* CurrentSums;

}  // namespace vantry
