#pragma once
// From the bytes of a fetched value to a cell.

#include "drivers/odbc/types.h"

#include <span>
#include <string>

namespace vantry::odbc {

// `bytes` hold one value in the column's form; the cell may look at them or at `scratch`. What has
// no value of its column's type comes as text, so that nothing is lost: a date with a zero in it, a
// time outside of 0 to 24 hours, a decimal of more than 38 digits, words in a column of numbers.
Cell DecodeField(const Column& column, std::span<const std::byte> bytes, std::string& scratch);

}  // namespace vantry::odbc
