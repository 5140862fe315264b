#pragma once
// Sums by which the content of a source and of a target are compared without holding either: one a
// column, 64 bits, of all its values in whatever order. Each value is first put into a form in
// which it is the same on both sides as long as the target holds what was read:
//
// - Numbers are equal by value, whatever their type: 12.50, 12.5 and the double nearest to it; True
//   is -1. A binary fraction stands for the decimals that it is written as with 15, 16 or 17
//   digits. 12 is not 12.34, and a number of more digits than a double keeps is equal to all its
//   digits only. A column of Singles is compared as Singles: 0.1 in a double is what became of it.
// - Dates are equal to the fraction of a second that the target's kind keeps (core/kinds,
//   DateUnit), which is cut off. A day without its time of day is another moment.
// - Booleans of the source are equal to true and false in whatever form the target has them (-1, 1,
//   "T", "True").
// - Texts are equal by their characters. Blanks at the end don't count where one of both sides has
//   them because its type has a fixed length (Char). In text files of fixed width blanks at both
//   ends don't, and an empty text is Null there, as in delimited files without a text qualifier:
//   such files hold no difference.
// - A text that goes into a column of numbers or dates, or comes out of one, is compared as a
//   number or a date if it is one. GUIDs are equal with and without braces, in any letter case.
// - Null equals nothing but Null: an empty text, a 0, an F in its place is a difference. Bytes are
//   equal to a text of these bytes.
//
// What sums don't find: values that have changed places within a column.

#include "data/value.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
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
    bool without_end_blanks = false;
    bool without_outer_blanks = false;
    bool empty_is_null = false;
    bool without_formula_lead = false;  // a "'" before what would be a formula
    std::int64_t nanos = 1;             // a moment counts in these
    std::int64_t ahead =
        0;  // nanoseconds that are added before it is cut: half of a unit, to round
};

// Whether a spreadsheet takes a text that begins so for a formula.
constexpr bool IsFormulaSign(char c) {
    return c == '=' || c == '+' || c == '-' || c == '@' || c == '\t' || c == '\r';
}

// By the type codes of both sides' columns and the row of the target's kind. For a text file the
// target's type is adEmpty.
ContentColumn ContentColumnOf(int source_type, int target_type);

std::uint64_t ContentHash(const Cell& value, const ContentColumn& column);

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
    std::vector<std::uint8_t> plain_text_;  // a column's texts are equal by their bytes alone
    std::vector<std::uint64_t> sums_;
    std::int64_t rows_ = 0;
};

// Takes up what is loaded of the table that is being loaded; null where nobody asks for it.
extern ContentSums* CurrentSums;

}  // namespace vantry
