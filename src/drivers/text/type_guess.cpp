// The type of a column whose file doesn't say: the narrowest that gives back every value that was
// looked at. What a number couldn't give back as it was written (leading zeros, a plus sign, too
// many digits) is text. Easy to get wrong: one value too liberal spoils a column of keys for good,
// and all rows may be looked at, so that the usual value must cost next to nothing.

#include "drivers/text/type_guess.h"

#include "data/ascii.h"
#include "data/utf.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/text/number_form.h"

#include <cstdint>
#include <limits>

namespace vantry::text {
namespace {

constexpr std::size_t kSafeLongDigits = 9;  // with a sign one character more
constexpr int kCurrencyDecimals = 4;

// Counted only where the bytes don't settle it already.
bool IsTooLongForText(std::string_view text) {
    return text.size() > kMaxTextUnits && CountUtf16Units(text) > kMaxTextUnits;
}

// Whole numbers beyond 32 bits become Double, as a text file has no wider one.
ColumnType TypeOfNumber(const NumberParts& parts) {
    if (parts.MayBeCode()) {
        return ColumnType::Text;
    }
    if (parts.has_point || parts.has_exponent) {
        return ToDouble(parts) ? ColumnType::Double : ColumnType::Text;
    }
    const auto value = ToInt64(Cell::FromDecimal(*ToDecimal(parts)));
    return value && *value >= std::numeric_limits<std::int32_t>::min() &&
                   *value <= std::numeric_limits<std::int32_t>::max()
               ? ColumnType::Long
               : ColumnType::Double;
}

// "1-2-03" is as often a part's number as a date. Where dates begin with the year, "05-01-06 10:00"
// and "05/01/2006" aren't sure either: nothing here says which of the numbers is the month.
bool MayBeCodeOrOfAnyOrder(std::string_view text) {
    const bool year_first = LocalDateForm().order == DateOrder::YearMonthDay;
    std::size_t at = 0;
    for (int piece = 1; piece <= 3; ++piece) {
        const std::size_t begin = at;
        while (at < text.size() && IsDigit(text[at])) {
            ++at;
        }
        const std::size_t digits = at - begin;
        if (digits == 0 || (digits > 2 && !(year_first && piece == 3 && digits == 4))) {
            return false;
        }
        if (piece < 3) {
            if (at == text.size() || text[at] == ':') {
                return false;
            }
            ++at;  // over the separator
        }
    }
    return at == text.size() || (year_first && text[at] == ' ');
}

}  // namespace

ColumnType TypeOfValue(std::string_view text, const ValueForms& forms) {
    if (IsTooLongForText(text)) {
        return ColumnType::Memo;
    }
    const std::string_view value = TrimBlanks(text);
    if (const auto parts = TakeApart(value, forms.numbers.decimal_symbol)) {
        return TypeOfNumber(*parts);
    }
    // A number that needs its currency sign to be one.
    if (const auto amount = ParseAmount(value, forms.numbers); amount && amount->has_symbol) {
        return amount->is_plain && amount->value.scale <= kCurrencyDecimals ? ColumnType::Currency
                                                                            : ColumnType::Text;
    }
    return GuessedDateOfValue(value, forms) ? ColumnType::DateTime : ColumnType::Text;
}

std::optional<DateTime> DateOfValue(std::string_view text, const ValueForms& forms) {
    const std::string_view value = TrimBlanks(text);
    return forms.picture ? forms.picture->Parse(value) : ParseDateTime(value);
}

std::optional<DateTime> GuessedDateOfValue(std::string_view text, const ValueForms& forms) {
    if (!forms.picture && MayBeCodeOrOfAnyOrder(TrimBlanks(text))) {
        return std::nullopt;
    }
    return DateOfValue(text, forms);
}

ColumnType WiderType(ColumnType left, ColumnType right) {
    if (left == right) {
        return left;
    }
    const auto one_is = [&](ColumnType type) { return left == type || right == type; };
    if (one_is(ColumnType::Memo)) {
        return ColumnType::Memo;
    }
    // Dates share a column with nothing else: a number read as a date, or a date as a number, would
    // be another value.
    if (one_is(ColumnType::Text) || one_is(ColumnType::DateTime)) {
        return ColumnType::Text;
    }
    return one_is(ColumnType::Double) ? ColumnType::Double : ColumnType::Currency;
}

void TypeGuess::Add(std::string_view text, const ValueForms& forms) {
    if (TakesTextOf(text.size()) || (seen_ && FitsAsBefore(text, forms))) {
        return;
    }
    if (TrimBlanks(text).empty()) {
        return;
    }
    const ColumnType type = TypeOfValue(text, forms);
    type_ = seen_ ? WiderType(type_, type) : type;
    seen_ = true;
}

// The usual case: one more value of the kind that the column has.
bool TypeGuess::FitsAsBefore(std::string_view text, const ValueForms& forms) const {
    switch (type_) {
        case ColumnType::Long:
            return text.size() <= kSafeLongDigits && text.find('.') == std::string_view::npos &&
                   CutToCanonical(text);
        case ColumnType::Double:
            return text.size() <= static_cast<std::size_t>(kMaxGuessedDigits) &&
                   forms.numbers.decimal_symbol == "." && CutToCanonical(text);
        case ColumnType::DateTime:
            return !forms.picture && ParseIsoDateTime(text);
        default:
            return false;
    }
}

}  // namespace vantry::text
