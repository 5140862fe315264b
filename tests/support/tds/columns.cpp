// What becomes of a value in a column. The server has an error of its own for nearly each pair of
// types that it won't convert; those that tests and users see are told as it tells them, the others
// with the number of one of them.

#include "data/calendar.h"
#include "data/code_page.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "support/tds/types.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <vector>

namespace vantry::test::tds {
namespace {

ServerError NotConverted(const Type& type) {
    return {8114, "Error converting a value to data type " + type.name + "."};
}
ServerError TooLong() {
    return {8152, "String or binary data would be truncated."};
}

// Half away from zero, as the server rounds.
Value ExactNumber(const Type& type, const Cell& value) {
    auto number = ToDecimal(value);
    if (!number) {
        throw NotConverted(type);
    }
    const int scale = type.kind == Kind::Decimal ? type.scale : 4;
    for (; number->scale > scale; --number->scale) {
        const bool last = number->scale == scale + 1;
        const Int128 half = last ? (number->unscaled < 0 ? -5 : 5) : 0;
        number->unscaled = (number->unscaled + half) / 10;
    }
    return Value(Cell::FromDecimal(*number));
}

Value Integer(const Type& type, const Cell& value) {
    if (value.Kind() == ValueKind::Text && !ParseInt64(value.AsText())) {
        throw ServerError(245,
                          "Conversion failed when converting the nvarchar value '" +
                              std::string(value.AsText()) + "' to data type " + type.name + ".");
    }
    const auto number =
        ToInt64(value).value_or(static_cast<std::int64_t>(ToDouble(value).value_or(0)));  // cut off
    const auto within = [&](std::int64_t least, std::int64_t most) {
        return number >= least && number <= most;
    };
    const bool fits = type.kind == Kind::TinyInt    ? within(0, 255)
                      : type.kind == Kind::SmallInt ? within(-32768, 32767)
                      : type.kind == Kind::Int      ? within(INT32_MIN, INT32_MAX)
                                                    : true;
    if (!fits) {
        throw ServerError(220,
                          "Arithmetic overflow error for data type " + type.name +
                              ", value = " + std::to_string(number) + ".");
    }
    return Value(Cell::Int64(type.kind == Kind::Bit ? (number != 0 ? 1 : 0) : number));
}

Value Real(const Type& type, const Cell& value) {
    const auto number = ToDouble(value);
    if (!number) {
        throw NotConverted(type);
    }
    return Value(Cell::Double(type.kind == Kind::Real ? static_cast<float>(*number) : *number));
}

// What code page 1252 hasn't becomes a question mark, without a word: so does the server.
std::string InServersLetters(std::string_view utf8) {
    static const CodePage page(1252);
    std::string bytes;
    std::string text;
    page.AppendBytes(utf8, bytes);
    page.AppendUtf8(bytes, text);
    return text;
}

Value TextIn(const Type& type, const Cell& value) {
    if (value.Kind() == ValueKind::Bytes) {
        throw NotConverted(type);
    }
    std::string text;
    AppendText(value, text);
    if (IsNarrowText(type.kind)) {
        text = InServersLetters(text);
    }
    const auto units =
        static_cast<int>(IsWideText(type.kind) ? CountUtf16Units(text) : CountCodePoints(text));
    const bool limited = type.kind != Kind::Text && type.kind != Kind::NText && type.size != kMax;
    if (limited && units > type.size) {
        throw TooLong();
    }
    return Value(Cell::Text(text));
}

Value BytesIn(const Type& type, const Cell& value) {
    if (type.kind == Kind::RowVersion || value.Kind() != ValueKind::Bytes) {
        throw NotConverted(type);  // a row version is the server's own
    }
    std::vector<std::byte> bytes(value.AsBytes().begin(), value.AsBytes().end());
    if (type.kind == Kind::Binary) {
        bytes.resize(static_cast<std::size_t>(type.size));
    }
    return Value(Cell::Bytes(bytes));
}

Value Guid(const Type& type, const Cell& value) {
    if (value.Kind() != ValueKind::Text || value.AsText().size() != 36) {
        throw NotConverted(type);
    }
    std::string text(value.AsText());
    for (char& c : text) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return Value(Cell::Text(text));
}

std::optional<DateTime> MomentOf(const Cell& value) {
    if (value.Kind() != ValueKind::Text) {
        return value.Kind() == ValueKind::DateTime ? std::optional(value.AsDateTime())
                                                   : std::nullopt;
    }
    if (const auto moment = ParseIsoDateTime(value.AsText())) {
        return moment;
    }
    auto time = ParseIsoTime(value.AsText());
    if (time) {
        time->day = kDay1900;
    }
    return time;
}

// To the unit of `nanos`, half up, into the next day where it must be.
DateTime RoundedTo(DateTime moment, std::int64_t nanos) {
    moment.nanos = (moment.nanos + nanos / 2) / nanos * nanos;
    if (moment.nanos >= kNanosPerDay) {
        moment.nanos -= kNanosPerDay;
        ++moment.day;
    }
    return moment;
}

Value MomentIn(const Type& type, const Cell& value) {
    const bool has_offset = value.Kind() == ValueKind::Text && value.AsText().size() > 17 &&
                            value.AsText()[value.AsText().size() - 3] == ':' &&
                            value.AsText().find_last_of("+-") == value.AsText().size() - 6;
    if (type.kind == Kind::DateTimeOffset && has_offset) {
        return Value(value);
    }
    const auto given = MomentOf(value);
    if (!given || type.kind == Kind::DateTimeOffset) {
        throw NotConverted(type);
    }
    auto moment = *given;
    const bool old = type.kind == Kind::DateTime || type.kind == Kind::SmallDateTime;
    const auto first = type.kind == Kind::DateTime ? *DayOf(1753, 1, 1) : kDay1900;
    const auto last = type.kind == Kind::DateTime ? kMaxDay : *DayOf(2079, 6, 6);
    if (old && (moment.day < first || moment.day > last)) {
        throw ServerError(242,
                          "The conversion of a value to a " + type.name +
                              " data type resulted in an out-of-range value.");
    }
    switch (type.kind) {
        case Kind::Date:
            moment.nanos = 0;
            break;
        case Kind::Time:
            moment.day = 0;
            moment.nanos =
                std::min(RoundedTo(moment, NanosPerUnit(type.scale)).nanos, kNanosPerDay - 1);
            break;
        case Kind::DateTime: {  // 300ths of a second
            const auto units = (moment.nanos * 3 + 5'000'000) / 10'000'000;
            moment = RoundedTo({moment.day, (units * 10'000'000 + 1) / 3}, 1'000'000);
            break;
        }
        case Kind::SmallDateTime:
            moment = RoundedTo(moment, 60 * kNanosPerSecond);
            break;
        default:
            moment = RoundedTo(moment, NanosPerUnit(type.scale));
            break;
    }
    return Value(Cell::FromDateTime(moment));
}

}  // namespace

Value InColumn(const Type& type, const Cell& value) {
    if (value.IsNull()) {
        return Value(Cell::Null());
    }
    if (IsBytes(type.kind)) {
        return BytesIn(type, value);
    }
    if (IsWideText(type.kind) || IsNarrowText(type.kind)) {
        return TextIn(type, value);
    }
    if (type.kind == Kind::Guid) {
        return Guid(type, value);
    }
    if (type.kind >= Kind::Date && type.kind <= Kind::SmallDateTime) {
        return MomentIn(type, value);
    }
    if (value.Kind() == ValueKind::DateTime || value.Kind() == ValueKind::Bytes) {
        throw NotConverted(type);
    }
    switch (type.kind) {
        case Kind::Real:
        case Kind::Float:
            return Real(type, value);
        case Kind::Decimal:
        case Kind::Money:
        case Kind::SmallMoney:
            return ExactNumber(type, value);
        default:
            return Integer(type, value);
    }
}

}  // namespace vantry::test::tds
