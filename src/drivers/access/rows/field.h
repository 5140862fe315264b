#pragma once
// A column's stored bytes as a Cell. One decoder a column: what depends on the column is found out
// at the start, and its buffers are used again for each row.

#include "data/value.h"
#include "drivers/access/catalogue/table_def.h"
#include "drivers/access/rows/long_value.h"
#include "drivers/access/rows/text_coding.h"

#include <optional>
#include <string>

namespace vantry::access {

class FieldDecoder {
public:
    FieldDecoder(PageSource& source, const ColumnDef& column);

    // `stored` as RowView::Field gives it, not null. Text and bytes of the cell point into `stored`
    // or into this decoder: valid until its next call. Unreadable: Fault() says why.
    Cell Decode(ByteSpan stored);
    // A clause such as "the date 1E+300 is outside the years 100 to 9999".
    const std::string& Fault() const { return fault_; }

private:
    Cell DecodeAs(ColumnType type, ByteSpan stored);
    Cell DecodeCalculated(ByteSpan stored);
    Cell DecodeMemo(ByteSpan stored);
    Cell DecodeGuid(ByteSpan stored);
    Cell Faulty(std::string fault);

    ColumnType type_;
    bool calculated_;
    std::uint8_t scale_;
    TextCoding coding_;
    std::optional<LongValueReader> long_values_;
    std::string scratch_;
    std::string fault_;
};

// Days since 1899-12-30 with the time counted forward, rounded to the millisecond: what stands for
// 12:00 may be off by some microseconds. Nothing outside the years 100 to 9999.
std::optional<DateTime> DateTimeFromSerial(double serial);
// 17 bytes; nothing when the magnitude has more than 38 digits.
std::optional<Decimal> DecimalFromNumeric(ByteSpan stored, std::uint8_t scale);
// 42 bytes of ASCII; nothing when they aren't of that form.
std::optional<DateTime> DateTimeFromExtended(ByteSpan stored);
// "{00000000-0000-0000-0000-000000000000}" with upper-case digits; `stored` has 16 bytes.
inline constexpr std::size_t kGuidTextSize = 38;
void PutGuid(ByteSpan stored, char* out);

}  // namespace vantry::access
