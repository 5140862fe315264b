// From the bytes of a field, in the form in which it was fetched, to a cell. Numbers that stand in
// their text form already are passed on as they are; others are read, and what isn't of its
// column's type comes as text rather than as nothing. Easy to get wrong: drivers write decimals in
// many ways (".5", "+1", "-0.00"), structures of dates may hold days that no calendar has, and a
// text of UTF-16 may have half a pair at its end.

#include "drivers/odbc/decode.h"

#include "data/text_scan.h"
#include "data/value_text.h"
#include "drivers/odbc/text_form.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace vantry::odbc {
namespace {

constexpr std::size_t kMostDecimalDigits = 38;
constexpr std::size_t kSafeIntegerText = 15;  // characters that are a canonical number for sure
constexpr std::size_t kGuidCharacters = 36;

template <typename T>
T As(std::span<const std::byte> bytes) {
    T value{};
    std::memcpy(&value, bytes.data(), std::min(sizeof value, bytes.size()));
    return value;
}

std::string_view TextView(std::span<const std::byte> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

Cell TextCell(std::string_view text, std::string& scratch) {
    return Cell::Text(AsUtf8(text, scratch));
}

Cell IntegerCell(std::string_view text, std::string& scratch) {
    std::int64_t number = 0;
    const auto* end = text.data() + text.size();
    if (const auto [rest, error] = std::from_chars(text.data(), end, number);
        error == std::errc() && rest == end) {
        return Cell::Int64(number);
    }
    // Unsigned columns go twice as far.
    std::uint64_t large = 0;
    if (const auto [rest, error] = std::from_chars(text.data(), end, large);
        error == std::errc() && rest == end) {
        return Cell::UInt64(large);
    }
    // A source without types may have fractions in a column of integers.
    if (const auto fraction = ParseDouble(text)) {
        return Cell::Double(*fraction);
    }
    return TextCell(text, scratch);
}

Cell NumberCell(std::string_view text, std::string& scratch) {
    if (IsCanonicalNumber(text)) {
        return Cell::NumberText(text);
    }
    if (const auto number = ParseDouble(text)) {
        return Cell::Double(*number);
    }
    return TextCell(text, scratch);
}

bool AllDigits(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), IsDigit);
}

// Just the text form of a decimal value: no superfluous zero before the point, one digit at least
// on either side of it.
bool IsPlainDecimal(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative) {
        text.remove_prefix(1);
    }
    const auto point = text.find('.');
    const auto whole = text.substr(0, point);
    const bool lone_zero = whole == "0";
    std::size_t digits = lone_zero ? 0 : whole.size();
    if (!AllDigits(whole) || (whole.front() == '0' && !lone_zero)) {
        return false;
    }
    if (point != std::string_view::npos) {
        const auto fraction = text.substr(point + 1);
        if (!AllDigits(fraction)) {
            return false;
        }
        digits += fraction.size();
    }
    const bool minus_zero = negative && text.find_first_not_of("0.") == std::string_view::npos;
    return digits <= kMostDecimalDigits && !minus_zero;
}

Cell DecimalCell(std::string_view text, std::string& scratch) {
    if (IsPlainDecimal(text)) {
        return Cell::NumberText(WithoutTrailingZeros(text));
    }
    // ".5" of Oracle, "+1", "-0.00"
    const bool bare_point = text.starts_with('.') || text.starts_with("-.");
    if (bare_point) {
        scratch.assign(text);
        scratch.insert(text.front() == '-' ? 1 : 0, 1, '0');
    }
    if (const auto value = ParseDecimal(bare_point ? std::string_view(scratch) : text)) {
        return Cell::FromDecimal(*value);
    }
    return TextCell(text, scratch);
}

Cell FlagCell(std::string_view text, std::string& scratch) {
    if (text == "1" || text == "0") {
        return Cell::Boolean(text == "1");
    }
    const auto flag = ParseBoolean(text);
    return flag ? Cell::Boolean(*flag) : TextCell(text, scratch);
}

Cell MomentCell(const std::optional<DateTime>& moment,
                std::string_view text,
                std::string& scratch) {
    return moment ? Cell::FromDateTime(*moment) : TextCell(text, scratch);
}

Cell GuidCell(std::string_view text, std::string& scratch) {
    // With braces or without, by the driver; cells always have them.
    if (text.size() == kGuidCharacters + 2 && text.front() == '{' && text.back() == '}') {
        text = text.substr(1, kGuidCharacters);
    }
    if (text.size() != kGuidCharacters) {
        return TextCell(text, scratch);
    }
    scratch = "{";
    for (const char c : text) {
        scratch += UpperCase(c);
    }
    scratch += '}';
    return Cell::Text(scratch);
}

// ---- Structures

void AppendDay(const SQL_TIMESTAMP_STRUCT& moment, std::string& out) {
    AppendPadded(out, static_cast<unsigned>(std::max<int>(moment.year, 0)), 4);
    out += '-';
    AppendPadded(out, moment.month, 2);
    out += '-';
    AppendPadded(out, moment.day, 2);
}

void AppendTime(const SQL_TIMESTAMP_STRUCT& moment, int digits, std::string& out) {
    AppendPadded(out, moment.hour, 2);
    out += ':';
    AppendPadded(out, moment.minute, 2);
    out += ':';
    AppendPadded(out, moment.second, 2);
    if (digits > 0) {
        std::string fraction;
        AppendPadded(fraction, moment.fraction, 9);
        out += '.';
        out += fraction.substr(0, static_cast<std::size_t>(std::min(digits, 9)));
    }
}

Cell TimestampCell(const SQL_TIMESTAMP_STRUCT& moment, bool with_day, std::string& scratch) {
    const auto nanos = NanosOf(moment.hour, moment.minute, moment.second, moment.fraction);
    const auto day =
        with_day ? DayOf(moment.year, moment.month, moment.day) : std::optional<std::int32_t>(0);
    if (day && nanos) {
        return Cell::FromDateTime({*day, *nanos});
    }
    scratch.clear();
    if (with_day) {
        AppendDay(moment, scratch);
        scratch += ' ';
    }
    AppendTime(moment, 0, scratch);
    return Cell::Text(scratch);
}

Cell MomentTextCell(const Column& column,
                    const SQL_TIMESTAMP_STRUCT& moment,
                    std::string& scratch) {
    scratch.clear();
    if (column.has_day) {
        AppendDay(moment, scratch);
    }
    if (column.has_time) {
        scratch.append(column.has_day ? " " : "");
        AppendTime(moment, column.digits, scratch);
    }
    return Cell::Text(scratch);
}

Cell DateCell(const SQL_DATE_STRUCT& date, std::string& scratch) {
    SQL_TIMESTAMP_STRUCT moment{};
    moment.year = date.year;
    moment.month = date.month;
    moment.day = date.day;
    return TimestampCell(moment, true, scratch);
}

Cell StructureCell(const Column& column, std::span<const std::byte> bytes, std::string& scratch) {
    switch (column.form) {
        case Form::Int32:
            return Cell::Int64(As<SQLINTEGER>(bytes));
        case Form::Int64:
            return Cell::Int64(As<std::int64_t>(bytes));
        case Form::UInt64:
            return Cell::UInt64(As<std::uint64_t>(bytes));
        case Form::Single:
            return Cell::Single(static_cast<float>(As<double>(bytes)));
        case Form::Double:
            return Cell::Double(As<double>(bytes));
        case Form::Bit:
            return Cell::Boolean(As<unsigned char>(bytes) != 0);
        case Form::Date:
            return DateCell(As<SQL_DATE_STRUCT>(bytes), scratch);
        case Form::Timestamp:
            return TimestampCell(As<SQL_TIMESTAMP_STRUCT>(bytes), true, scratch);
        case Form::TimeOfTimestamp:
            return TimestampCell(As<SQL_TIMESTAMP_STRUCT>(bytes), false, scratch);
        default:
            return MomentTextCell(column, As<SQL_TIMESTAMP_STRUCT>(bytes), scratch);
    }
}

}  // namespace

Cell DecodeField(const Column& column, std::span<const std::byte> bytes, std::string& scratch) {
    if (HasFixedSize(column.form)) {
        return StructureCell(column, bytes, scratch);
    }
    if (column.form == Form::Bytes) {
        return Cell::Bytes(bytes);
    }
    if (column.form == Form::WideText) {
        scratch.clear();
        AppendUtf8FromUtf16({reinterpret_cast<const char16_t*>(bytes.data()), bytes.size() / 2},
                            scratch);
        return Cell::Text(scratch);
    }
    const auto text = TextView(bytes);
    switch (column.form) {
        case Form::IntegerText:
            return text.size() <= kSafeIntegerText && IsCanonicalNumber(text)
                       ? Cell::NumberText(text)
                       : IntegerCell(Trimmed(text), scratch);
        case Form::NumberText:
            return NumberCell(Trimmed(text), scratch);
        case Form::DecimalText:
            return DecimalCell(Trimmed(text), scratch);
        case Form::FlagText:
            return FlagCell(text, scratch);
        case Form::MomentIso:
            return MomentCell(ParseIsoDateTime(text), text, scratch);
        case Form::TimeIso:
            return MomentCell(ParseIsoTime(text), text, scratch);
        case Form::GuidText:
            return GuidCell(Trimmed(text), scratch);
        default:
            return TextCell(text, scratch);
    }
}

}  // namespace vantry::odbc
