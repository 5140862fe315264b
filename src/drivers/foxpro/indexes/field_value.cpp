#include "drivers/foxpro/indexes/field_value.h"

#include "data/ascii.h"
#include "data/calendar.h"
#include "data/value_convert.h"
#include "drivers/foxpro/table/number_text.h"
#include "drivers/foxpro/table/text_coder.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

namespace vantry::foxpro {
namespace {

[[noreturn]] void NoValue(const Field& field, ByteSpan bytes) {
    throw KeyTrouble("the field " + field.name + " holds \"" + std::string(AsText(bytes)) +
                     "\", which is no value of its type");
}

double NumberIn(const Field& field, ByteSpan bytes) {
    const auto text = AsText(bytes);
    const auto start = text.find_first_not_of(' ');
    if (start == std::string_view::npos) {
        // A blank number has the key of 0, as FoxPro takes it for 0 wherever it computes.
        return 0;
    }
    double number = 0;
    const auto [end, error] = std::from_chars(
        text.data() + start, text.data() + text.size(), number, std::chars_format::fixed);
    // The form that nearly all have; the rest, blanks behind it included, is left to ReadNumber.
    if (error == std::errc() && end == text.data() + text.size() && IsDigit(text.back())) {
        return number;
    }
    const auto cell = ReadNumber(text);
    if (!cell) {
        NoValue(field, bytes);
    }
    return cell->IsNull() ? 0 : ToDouble(*cell).value_or(0);
}

double DayNumberIn(const Field& field, ByteSpan bytes) {
    std::array<int, 8> digits{};
    bool blank = true;
    bool good = bytes.size() == digits.size();
    for (std::size_t k = 0; k < bytes.size() && k < digits.size(); ++k) {
        const char c = std::to_integer<char>(bytes[k]);
        blank = blank && (c == ' ' || c == '\0' || c == '0');
        good = good && IsDigit(c);
        digits[k] = DigitOf(c);
    }
    // Some programs write zeros or NULs for no date.
    if (blank) {
        return 0;
    }
    const auto day = good ? DayOf(digits[0] * 1000 + digits[1] * 100 + digits[2] * 10 + digits[3],
                                  digits[4] * 10 + digits[5],
                                  digits[6] * 10 + digits[7])
                          : std::nullopt;
    if (!day) {
        NoValue(field, bytes);
    }
    return *day + kJulianDayZero;
}

double MomentIn(ByteSpan bytes) {
    // Blanks in place of zeros occur in files of other programs.
    const auto blank = [](std::byte byte) { return byte == std::byte{' '}; };
    if (std::all_of(bytes.begin(), bytes.end(), blank)) {
        return 0;
    }
    // The day first: the last bit of the sum, and so the key, depends on the order.
    return file::Load<std::int32_t>(bytes, 0) +
           file::Load<std::int32_t>(bytes, 4) / static_cast<double>(kMillisPerDay);
}

}  // namespace

std::optional<KeyType> KeyTypeOf(const Field& field) {
    if (field.IsMemo()) {
        return std::nullopt;
    }
    switch (field.type) {
        case 'C':
        case 'V':
            return KeyType::Text;
        case 'N':
        case 'F':
        case 'I':
        case 'B':
        case 'Y':
            return KeyType::Number;
        case 'D':
            return KeyType::Date;
        case 'T':
            return KeyType::Moment;
        case 'L':
            return KeyType::Logical;
        default:
            return std::nullopt;
    }
}

KeyValue FieldValue(const Field& field, const RecordView& record) {
    KeyValue value;
    value.type = KeyTypeOf(field).value_or(KeyType::Text);
    if (record.IsNull(field)) {
        value.null = true;
        return value;
    }
    const auto bytes = record.Bytes(field);
    switch (field.type) {
        case 'C':
            value.text = AsText(bytes);
            break;
        case 'V':
            value.text = AsText(record.ValueBytes(field));
            break;
        case 'I':
            value.number = file::Load<std::int32_t>(bytes, 0);
            break;
        case 'B':
            value.number = file::Load<double>(bytes, 0);
            break;
        case 'Y':
            value.number = static_cast<double>(file::Load<std::int64_t>(bytes, 0)) / 10'000;
            break;
        case 'D':
            value.number = DayNumberIn(field, bytes);
            break;
        case 'T':
            value.number = MomentIn(bytes);
            break;
        case 'L':
            // A value that was never set, blank or "?", is false to FoxPro.
            value.logical = std::string_view("TtYy").find(std::to_integer<char>(bytes[0])) !=
                            std::string_view::npos;
            break;
        default:
            value.number = NumberIn(field, bytes);
    }
    return value;
}

}  // namespace vantry::foxpro
