#pragma once
// What a column of a target can hold: numbers up to a size, texts up to a length, dates from a day
// on. One record for all kinds and types, made of a row of two tables: the words that CREATE writes
// (what "Decimal" without a size is to each kind), and the types that an existing column reports.
// What the loaders do to a value on its way isn't in here but in check/value_judge.

#include "core/kinds.h"
#include "data/value.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vantry {

enum class Form : std::uint8_t {
    Nothing,  // CREATE refuses it: `fault` says why
    Whole,
    Exact,  // decimal digits
    Single,
    Double,
    Truth,
    Letter,  // T or F in place of a truth
    Moment,
    Day,
    Text,
    Bytes,
    Guid,
    Line  // a field of a text file
};

// What the length of a text counts. Bytes are those of the column's code page, or of UTF-8.
enum class LengthIn : std::uint8_t { Characters, Utf16Units, Bytes };

struct Holding {
    Form form = Form::Nothing;
    std::int64_t low = 0;   // Whole
    std::int64_t high = 0;  // Whole; Exact: the largest number without its point, 0: by the digits
    int digits = 0;         // Exact: before the point
    int scale = 0;          // Exact: behind it; negative: as many as there is room for in `digits`
    bool sign_in_width = false;  // a negative number has a digit less
    bool all_doubles = false;    // those that are no number among them
    bool half_away = false;      // halves are rounded away from zero; else to the even digit
    std::int64_t length = 0;     // Text, Bytes; 0: as long as they are
    LengthIn length_in = LengthIn::Characters;
    int code_page = 0;         // 0: all characters
    bool page_loses = false;   // what the page lacks becomes "?"; else it is refused
    bool cuts_blanks = false;  // behind a text
    bool pads = false;         // up to the length
    bool empty_is_null = false;
    bool null_is_false = false;
    bool truth_is_number = false;  // True is -1 there, else 1 or as the column likes it
    bool converts = false;         // a server that converts by rules of its own
    bool is_long = false;          // a text that takes nothing but texts
    bool shown_as_text = false;    // a moment that is read back as a text
    bool time_alone = false;       // of it, the time of day
    bool with_distance = false;    // and its distance to UTC
    bool required = false;         // no null
    bool never_empty = false;      // no text without letters
    std::int32_t first_day = kMinDay;
    std::int32_t last_day = kMaxDay;
    std::int64_t first_time = 0;  // on the first day
    std::int64_t last_time = kNanosPerDay - 1;
    std::int64_t step = 1;  // nanoseconds that a moment counts in
    bool thirds = false;    // of its steps of 10 ms: shown as 0, 3 and 7 ms
    std::string type;       // as the user knows it: "Decimal(10,0)"
    std::string fault;      // of Form::Nothing

    bool Contains(const DateTime& moment) const {
        return moment.day >= first_day && moment.day <= last_day &&
               (moment.day != first_day || moment.nanos >= first_time) &&
               (moment.day != last_day || moment.nanos <= last_time);
    }
};

// A column as its field list describes it, by the codes of data/ado_types.h.
struct FieldShape {
    int type = 0;
    std::int64_t size = 0;
    int precision = 0;
    int scale = 0;
};

// Of a column that exists in a target of this kind. `type_name` is shown.
Holding HoldingOfField(TypeNames kind, const FieldShape& shape, std::string type_name);

// Of a column that CREATE will make of this text: "Varchar(40)", "Decimal", " yesno".
Holding HoldingOfWords(TypeNames kind, std::string_view words);

// What a kind allows in names and numbers of columns; 0: no limit that is known.
struct NameLimits {
    std::size_t column_letters = 0;
    std::size_t table_letters = 0;
    std::size_t columns = 0;
    bool plain = false;  // a letter first, then letters, digits and "_"
};
NameLimits NameLimitsOfTarget();

}  // namespace vantry
