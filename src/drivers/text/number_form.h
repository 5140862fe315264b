#pragma once
// Numbers and amounts of money as they stand in text files.

#include "data/value.h"
#include "drivers/text/table_format.h"

#include <optional>
#include <string_view>

namespace vantry::text {

// A number taken apart: [sign] digits [point digits] [E [sign] digits].
struct NumberParts {
    bool negative = false;
    bool plus = false;
    bool has_point = false;
    bool has_exponent = false;
    bool has_exponent_sign = false;
    int exponent = 0;
    std::string_view whole;
    std::string_view fraction;

    // How many digits it is written with; a lone 0 before the point is none of them.
    std::size_t Digits() const {
        return fraction.size() + (has_point && whole == "0" ? 0 : whole.size());
    }
    bool HasLeadingZero() const { return whole.size() > 1 && whole.front() == '0'; }
    // Whether it may be a code, a telephone or an account number, which a number wouldn't give back
    // as it is written: 007, +49, sixteen digits, 1E5.
    bool MayBeCode() const;
};

// Nothing unless the whole of `text` is such a number, with at least one digit before the exponent.
std::optional<NumberParts> TakeApart(std::string_view text, std::string_view point);

// The number exactly; nothing with more than 38 digits or with an exponent.
std::optional<Decimal> ToDecimal(const NumberParts& parts);
std::optional<double> ToDouble(const NumberParts& parts);

// Cuts `text` to a canonical number (data/value_text.h) of the same value, which is possible for
// most numbers with a "." and few digits; false, and `text` as it was, for all others.
bool CutToCanonical(std::string_view& text);

struct Amount {
    Decimal value;
    bool has_symbol = false;
    bool is_plain = false;  // no plus sign, no leading zero, no more than 15 digits
};

// A number with thousands grouped, a currency symbol before or behind it, and a minus or round
// brackets. Nothing if the text isn't one.
std::optional<Amount> ParseAmount(std::string_view text, const NumberForm& form);
// The same without a currency: the point of plain numbers, and thousands grouped.
std::optional<Amount> ParseGrouped(std::string_view text, const NumberForm& form);

}  // namespace vantry::text
