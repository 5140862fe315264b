#pragma once
// A column's stored bytes as a Cell. One decoder a column: what depends on the column is found out
// at the start, and its buffers are used again for each row.

#include "data/value.h"
#include "drivers/access/catalogue/table_def.h"
#include "drivers/access/rows/long_value.h"
#include "drivers/access/rows/text_coding.h"

#include <cmath>
#include <cstdint>
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
// In the header because it runs for every date of every row.
inline std::optional<DateTime> DateTimeFromSerial(double serial) {
    constexpr std::int64_t kMillisPerDay = 86'400'000;
    constexpr std::int64_t kNanosPerMilli = 1'000'000;
    if (!(serial >= kMinSerialDate - 1) || !(serial < kEndSerialDate)) {
        return std::nullopt;
    }
    auto day = static_cast<std::int32_t>(serial);
    const double fraction = std::fabs(serial - day);
    // A fraction isn't negative, so cutting behind the half rounds; std::llround would be a call a
    // date. NOLINTNEXTLINE(bugprone-incorrect-roundings)
    auto millis = static_cast<std::int64_t>(fraction * static_cast<double>(kMillisPerDay) + 0.5);
    if (millis == kMillisPerDay) {
        millis = 0;
        ++day;
    }
    if (day < static_cast<std::int32_t>(kMinSerialDate) || day > kMaxDay) {
        return std::nullopt;
    }
    return DateTime{day, millis * kNanosPerMilli};
}
// 17 bytes; nothing when the magnitude has more than 38 digits.
std::optional<Decimal> DecimalFromNumeric(ByteSpan stored, std::uint8_t scale);
// 42 bytes of ASCII; nothing when they aren't of that form.
std::optional<DateTime> DateTimeFromExtended(ByteSpan stored);
// "{00000000-0000-0000-0000-000000000000}" with upper-case digits; `stored` has 16 bytes.
inline constexpr std::size_t kGuidTextSize = 38;
void PutGuid(ByteSpan stored, char* out);

}  // namespace vantry::access
