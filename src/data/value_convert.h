#pragma once
// Conversions between the kinds of a value, without loss or not at all. Text is read by the rules
// of value_text.h. Each returns nothing when the value can't be expressed; Null, Unset and
// Unreadable give nothing. True as a number is -1, a date its days-and-fraction number, a binary
// fraction the shortest decimal that reads back as it.

#include "data/value.h"

#include <optional>
#include <string>

namespace vantry {

std::optional<std::int64_t> ToInt64(const Cell& value);         // fractions are refused
std::optional<std::int64_t> ToInt64Rounded(const Cell& value);  // half to even
std::optional<double> ToDouble(const Cell& value);              // the nearest one
std::optional<Decimal> ToDecimal(const Cell& value);
// With exactly `scale` decimals, rounded half to even; nothing when more than 38 digits.
std::optional<Decimal> ToDecimal(const Cell& value, int scale);
// The same number without zeros at the end of its decimals.
Decimal WithoutTrailingZeros(Decimal number);
std::optional<bool> ToBoolean(const Cell& value);
std::optional<DateTime> ToDateTime(const Cell& value);  // numbers are days since 1899-12-30

}  // namespace vantry
