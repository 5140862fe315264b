#pragma once
// How a column of a result is described, and how the bytes of its fields become cells.

#include "data/driver.h"

#include <mysql.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vantry::mysql {

// One field of a row as it lies in memory of the client library or of a buffer.
struct RawField {
    const char* data = nullptr;  // null: NULL
    std::size_t size = 0;

    std::string_view Text() const { return {data, size}; }
};

// What the bytes of a column's fields are: text, unless it says otherwise.
enum class Form : std::uint8_t {
    Integer,
    PaddedInteger,  // ZEROFILL: with leading zeros
    Decimal,
    PaddedDecimal,
    Single,
    Double,
    SingleBits,  // the number itself, four bytes
    DoubleBits,  // eight bytes
    DateTime,
    Time,
    Flag,  // bit(1): one byte
    Bytes,
    Text,
};

struct Column {
    ColumnInfo info;
    Form form = Form::Text;
};

// `bytes_per_character`: of the connection's character set; the server gives text sizes in bytes.
Column Describe(const MYSQL_FIELD& field, unsigned bytes_per_character);

// What has no value of its column's type comes as text, so that nothing is lost: dates with a zero
// in them, times outside of 0 to 24 hours, decimals of more than 38 digits.
Cell Decode(Form form, const RawField& field);

}  // namespace vantry::mysql
