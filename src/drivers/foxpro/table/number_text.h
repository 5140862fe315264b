#pragma once
// Numbers of N and F fields: digits as text, right aligned in the field's width. These functions
// only say what a number is and whether it fits; the errors are the caller's.

#include "data/value.h"
#include "files/checked_bytes.h"

#include <optional>
#include <string_view>

namespace vantry::foxpro {

// A field's number: NumberText where its digits stand as they are, Null for a blank one; nothing if
// it is none, such as the asterisks of a value that didn't fit.
std::optional<Cell> ReadNumber(std::string_view stored);

enum class NumberFit : std::uint8_t { Fits, TooLarge, NotANumber };
// Writes a value into a field of that width, rounded half away from zero. Never digits that are
// wrong: what doesn't fit is told.
NumberFit WriteNumber(const Cell& value, std::size_t decimals, std::span<std::byte> field);

// The value at that scale, rounded half away from zero; nothing if it has more than 38 digits or
// isn't a number.
std::optional<Int128> ScaledNumber(const Cell& value, std::size_t scale);

}  // namespace vantry::foxpro
