#pragma once
// What becomes of a value in a column of SQL Server: the server's implicit conversions, its
// rounding, and the errors with which it refuses.

#include "support/tds/types.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace vantry::test::tds {

// An error as the server tells it; the numbers are those of its public list of messages.
struct ServerError : std::runtime_error {
    ServerError(int its_number, const std::string& text, int its_severity = 16)
        : std::runtime_error(text), number(its_number), severity(its_severity) {}
    int number;
    int severity;
    int line = 1;
};

// The value that a column of `type` keeps of `value`. Kinds that are kept: integers for bits and
// integers, doubles, decimals of the column's own scale (money has four), texts, bytes, moments;
// texts for identifiers and for moments with an offset. Throws ServerError.
Value InColumn(const Type& type, const Cell& value);

}  // namespace vantry::test::tds
