#pragma once
// The type of a column whose file doesn't say it, from the values that are looked at. It guesses so
// that nothing is lost: what a number or a date couldn't give back as it is written stays text.

#include "data/value.h"
#include "drivers/text/date_picture.h"
#include "drivers/text/table_format.h"
#include "text_format/format.h"

#include <optional>
#include <string_view>

namespace vantry::text {

// How values of a file are told apart.
struct ValueForms {
    NumberForm numbers;
    std::optional<DatePicture> picture;  // then only that form is a date
};

// What one value alone would make its column, `text` being UTF-8 with the blanks around it and not
// empty. Never Bit, Byte, Short, Single, Decimal, Binary or Ole.
ColumnType TypeOfValue(std::string_view text, const ValueForms& forms);

// A date in the file's form.
std::optional<DateTime> DateOfValue(std::string_view text, const ValueForms& forms);
// The same in a column whose type was guessed: there three numbers of one or two digits are no
// date, and a date whose order isn't sure is none.
std::optional<DateTime> GuessedDateOfValue(std::string_view text, const ValueForms& forms);

// The type that holds the values of both.
ColumnType WiderType(ColumnType left, ColumnType right);

// One column while values come in.
class TypeGuess {
public:
    // `text` is UTF-8 without its qualifiers. Values that say nothing (blanks) are passed over.
    void Add(std::string_view text, const ValueForms& forms);
    // Whether no value of so many bytes can change the type: none has more characters than bytes.
    bool TakesTextOf(std::size_t bytes) const {
        return seen_ &&
               (type_ == ColumnType::Memo || (type_ == ColumnType::Text && bytes <= kMaxTextUnits));
    }
    // Text if nothing was seen.
    ColumnType Type() const { return seen_ ? type_ : ColumnType::Text; }

private:
    bool FitsAsBefore(std::string_view text, const ValueForms& forms) const;

    bool seen_ = false;
    ColumnType type_ = ColumnType::Text;
};

}  // namespace vantry::text
