// What becomes of a value in a column. The server has an error of its own for nearly each pair of
// types that it won't convert; those that tests and users see are told as it tells them, the others
// with the number of one of them.

#include "data/ascii.h"
#include "data/calendar.h"
#include "data/code_page.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "support/tds/types.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <regex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::test::tds {
namespace {

ServerError NotConverted(const Type& type) {
    return {8114, "Error converting a value to data type " + type.name + "."};
}
ServerError TooLong() {
    return {8152, "String or binary data would be truncated."};
}

ServerError Overflow(const Type& type) {
    return {8115,
            "Arithmetic overflow error converting expression to data type " + type.name + "."};
}
// The server names both types; which of the client's it was doesn't matter here.
ServerError Clash(const Type& type) {
    return {206, "Operand type clash: the value's type is incompatible with " + type.name};
}
ServerError NoNumber(const Type& type, std::string_view text) {
    return {245,
            "Conversion failed when converting the nvarchar value '" + std::string(text) +
                "' to data type " + type.name + "."};
}

bool IsBlank(std::string_view text) {
    return text.find_first_not_of(' ') == std::string_view::npos;
}
bool HasExponent(const Cell& value) {
    return value.Kind() == ValueKind::Text &&
           value.AsText().find_first_of("eE") != std::string_view::npos;
}
bool IsFloating(const Cell& value) {
    return value.Kind() == ValueKind::Double || value.Kind() == ValueKind::Single;
}

// Half away from zero, as the server rounds. A text with an exponent is none of its decimals.
Value ExactNumber(const Type& type, const Cell& value) {
    const bool is_money = type.kind == Kind::Money || type.kind == Kind::SmallMoney;
    const bool is_text = value.Kind() == ValueKind::Text;
    auto number = is_text && (HasExponent(value) || (is_money && IsBlank(value.AsText())))
                      ? std::nullopt
                      : ToDecimal(value);
    if (!number && is_money && is_text && IsBlank(value.AsText())) {
        number = Decimal{};
    }
    if (!number && IsFloating(value)) {
        // Beyond 38 digits: a fraction that is nothing, or a number that nothing holds.
        if (std::abs(ToDouble(value).value_or(HUGE_VAL)) >= 1) {
            throw Overflow(type);
        }
        number = Decimal{};
    }
    if (!number) {
        throw NotConverted(type);
    }
    const int scale = type.kind == Kind::Decimal ? type.scale : 4;
    for (; number->scale > scale; --number->scale) {
        const bool last = number->scale == scale + 1;
        const Int128 half = last ? (number->unscaled < 0 ? -5 : 5) : 0;
        number->unscaled = (number->unscaled + half) / 10;
    }
    const auto scaled = ToDecimal(Cell::FromDecimal(*number), scale);
    Int128 most = type.kind == Kind::Money ? INT64_MAX : INT32_MAX;
    if (!is_money) {
        most = 0;
        for (int k = 0; k < type.precision; ++k) {
            most = most * 10 + 9;
        }
    }
    if (!scaled || scaled->unscaled > most || scaled->unscaled < (is_money ? -most - 1 : -most)) {
        throw Overflow(type);
    }
    return Value(Cell::FromDecimal(*number));
}

std::int64_t WholeOf(const Type& type, const Cell& value) {
    if (value.Kind() == ValueKind::Text) {
        const auto text = value.AsText();
        if (type.kind == Kind::Bit && (EqualsNoCase(text, "true") || EqualsNoCase(text, "false"))) {
            return EqualsNoCase(text, "true") ? 1 : 0;
        }
        const auto number = IsBlank(text) ? 0 : ParseInt64(text);
        if (!number) {
            throw NoNumber(type, text);
        }
        return *number;
    }
    if (value.Kind() == ValueKind::Boolean) {
        return value.AsBoolean() ? 1 : 0;
    }
    const auto number = ToDouble(value).value_or(0);
    if (type.kind == Kind::Bit) {
        return number != 0 ? 1 : 0;  // a fraction of one is no zero
    }
    constexpr double kBeyond = 9.3e18;
    if (value.Kind() != ValueKind::Int64 && std::abs(number) > kBeyond) {
        throw Overflow(type);
    }
    if (IsFloating(value)) {
        return static_cast<std::int64_t>(number);  // cut off
    }
    const auto exact = ToDecimal(value).value_or(Decimal{});
    Int128 whole = exact.unscaled;
    for (int k = 0; k < exact.scale; ++k) {
        whole /= 10;
    }
    if (whole > INT64_MAX || whole < INT64_MIN) {
        throw Overflow(type);
    }
    return static_cast<std::int64_t>(whole);
}

Value Integer(const Type& type, const Cell& value) {
    const auto number = WholeOf(type, value);
    const auto within = [&](std::int64_t least, std::int64_t most) {
        return number >= least && number <= most;
    };
    const bool fits = type.kind == Kind::TinyInt    ? within(0, 255)
                      : type.kind == Kind::SmallInt ? within(-32768, 32767)
                      : type.kind == Kind::Int      ? within(INT32_MIN, INT32_MAX)
                                                    : true;
    if (!fits && type.kind == Kind::Int) {
        throw Overflow(type);
    }
    if (!fits) {
        throw ServerError(220,
                          "Arithmetic overflow error for data type " + type.name +
                              ", value = " + std::to_string(number) + ".");
    }
    return Value(Cell::Int64(type.kind == Kind::Bit ? (number != 0 ? 1 : 0) : number));
}

Value Real(const Type& type, const Cell& value) {
    if (value.Kind() == ValueKind::Text && IsBlank(value.AsText())) {
        return Value(Cell::Double(0));
    }
    const auto number =
        value.Kind() == ValueKind::Boolean ? (value.AsBoolean() ? 1 : 0) : ToDouble(value);
    if (!number) {
        throw NotConverted(type);
    }
    if (type.kind == Kind::Real && std::isinf(static_cast<float>(*number))) {
        throw Overflow(type);
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

// As the server writes a value that it has to make a text of: a floating number with six digits, a
// decimal with all places that it was declared with.
std::string TextForm(const Cell& value) {
    std::string text;
    if (value.Kind() == ValueKind::Decimal) {
        AppendDecimal(value.AsDecimal(), text);
        return text;
    }
    if (value.Kind() == ValueKind::Boolean) {
        return value.AsBoolean() ? "1" : "0";
    }
    if (value.Kind() == ValueKind::DateTime) {
        constexpr int kDigits = 7;
        return MomentText(value.AsDateTime(), kDigits);
    }
    if (!IsFloating(value)) {
        AppendText(value, text);
        return text;
    }
    std::array<char, 32> digits{};
    std::snprintf(digits.data(), digits.size(), "%g", ToDouble(value).value_or(0));
    text = digits.data();
    const auto sign = text.find_first_of("+-", 1);
    if (sign != std::string::npos && text.size() - sign == 3) {
        text.insert(sign + 1, "0");  // three digits at least
    }
    return text;
}

Value TextIn(const Type& type, const Cell& value) {
    if (value.Kind() == ValueKind::Bytes) {
        throw NotConverted(type);
    }
    const bool is_text = value.Kind() == ValueKind::Text;
    if (!is_text && (type.kind == Kind::Text || type.kind == Kind::NText)) {
        throw Clash(type);
    }
    std::string text = TextForm(value);
    if (IsNarrowText(type.kind)) {
        text = InServersLetters(text);
    }
    const auto units =
        static_cast<int>(IsWideText(type.kind) ? CountUtf16Units(text) : CountCodePoints(text));
    const bool limited = type.kind != Kind::Text && type.kind != Kind::NText && type.size != kMax;
    if (limited && units > type.size) {
        throw is_text ? TooLong() : Overflow(type);
    }
    return Value(Cell::Text(text));
}

Value BytesIn(const Type& type, const Cell& value) {
    if (type.kind == Kind::RowVersion) {
        throw NotConverted(type);  // the server's own
    }
    const bool given = value.Kind() == ValueKind::Bytes;
    if (!given && (type.kind == Kind::Image || value.Kind() == ValueKind::DateTime)) {
        throw Clash(type);
    }
    if (value.Kind() == ValueKind::Text) {
        throw ServerError(257,
                          "Implicit conversion from data type nvarchar to " + type.name +
                              " is not allowed. Use the CONVERT function to run this query.");
    }
    const auto view = given ? value.AsBytes() : std::span<const std::byte>();
    std::vector<std::byte> bytes(view.begin(), view.end());
    if (!given) {
        // Of a number its own bytes, of which a short column keeps the last ones.
        const auto number = IsFloating(value)
                                ? std::bit_cast<std::uint64_t>(ToDouble(value).value_or(0))
                                : static_cast<std::uint64_t>(ToInt64(value).value_or(0));
        for (int shift = 56; shift >= 0; shift -= 8) {
            bytes.push_back(static_cast<std::byte>(number >> shift & 0xFF));
        }
        if (type.size != kMax && bytes.size() > static_cast<std::size_t>(type.size)) {
            bytes.erase(bytes.begin(), bytes.end() - type.size);
        }
    }
    if (type.kind != Kind::Image && type.size != kMax &&
        bytes.size() > static_cast<std::size_t>(type.size)) {
        throw TooLong();
    }
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

struct Given {
    DateTime moment{kDay1900, 0};
    std::size_t places = 0;  // of a second
    std::string distance;    // to UTC, "+05:30"; empty where none is given
};

// A text that is read one way in every login's language: digits alone are a date, a time alone is
// one of 1900-01-01.
std::optional<Given> ReadMoment(const std::string& text) {
    static const std::regex form(
        R"( *(?:(\d{4})(-?)(\d\d)\2(\d\d)|(\d\d)(\d\d)(\d\d)|(\d{4})(?= *$))?)"
        R"((?:(?:^|[ T]) *(\d\d:\d\d(?::\d\d(?:\.(\d{1,9}))?)?)(?: *([+-]\d\d:\d\d)|Z)?)? *)");
    std::smatch found;
    if (!std::regex_match(text, found, form)) {
        return std::nullopt;
    }
    const auto number = [&](std::size_t k) { return std::atoi(found[k].str().c_str()); };
    Given given;
    std::optional<std::int32_t> day = kDay1900;
    if (found[1].matched) {
        day = DayOf(number(1), number(3), number(4));
    } else if (found[5].matched) {
        day = DayOf(number(5) + (number(5) < 50 ? 2000 : 1900), number(6), number(7));
    } else if (found[8].matched) {
        day = DayOf(number(8), 1, 1);
    }
    const auto time = found[9].matched ? ParseIsoTime(found[9].str()) : DateTime{};
    if (!day || !time) {
        return std::nullopt;
    }
    given.moment = {*day, time->nanos};
    given.places = found[10].str().size();
    given.distance = found[11].str();
    return given;
}

std::optional<Given> MomentOf(const Type& type, const Cell& value) {
    if (value.Kind() == ValueKind::DateTime) {
        return Given{value.AsDateTime(), 0, {}};
    }
    if (value.Kind() != ValueKind::Text) {
        return std::nullopt;
    }
    const auto given = ReadMoment(std::string(value.AsText()));
    const bool old = type.kind == Kind::DateTime || type.kind == Kind::SmallDateTime;
    return given && given->places <= (old ? 3 : 7) && (!old || given->distance.empty())
               ? given
               : std::nullopt;
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

// As text, local time and distance: at UTC it must lie within the calendar.
Value WithDistance(const Type& type, const Given& given) {
    const auto moment = RoundedTo(given.moment, NanosPerUnit(type.scale));
    const auto text =
        MomentText(moment, type.scale) + " " + (given.distance.empty() ? "+00:00" : given.distance);
    if (const auto utc = ReadOffsetMoment(text).utc; utc.day < kMinDay || utc.day > kMaxDay) {
        throw NotConverted(type);
    }
    return Value(Cell::Text(text));
}

Value MomentIn(const Type& type, const Cell& value) {
    const bool old = type.kind == Kind::DateTime || type.kind == Kind::SmallDateTime;
    auto given = MomentOf(type, value);
    if (!given && value.Kind() != ValueKind::Text) {
        // A number counts days from 1900-01-01 where the type is an old one, and is nothing else.
        const auto days =
            value.Kind() == ValueKind::Boolean ? (value.AsBoolean() ? 1 : 0) : ToDouble(value);
        if (!old || !days) {
            throw Clash(type);
        }
        const auto counted =
            std::abs(*days) < kMaxDay ? ToDateTime(Cell::Double(*days + kDay1900)) : std::nullopt;
        if (!counted) {
            throw Overflow(type);
        }
        given = Given{*counted, 0, {}};
    }
    if (!given) {
        throw NotConverted(type);
    }
    if (type.kind == Kind::DateTimeOffset) {
        return WithDistance(type, *given);
    }
    auto moment = given->moment;
    const auto first = type.kind == Kind::DateTime ? *DayOf(1753, 1, 1) : kDay1900;
    const auto last = type.kind == Kind::DateTime ? kMaxDay : *DayOf(2079, 6, 6);
    const auto check = [&](const DateTime& at) {
        if (at.day > kMaxDay || (old && (at.day < first || at.day > last))) {
            throw ServerError(242,
                              "The conversion of a value to a " + type.name +
                                  " data type resulted in an out-of-range value.");
        }
    };
    check(moment);
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
    check(moment);  // its rounding included
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
    if (value.Kind() == ValueKind::DateTime) {
        throw Clash(type);
    }
    if (value.Kind() == ValueKind::Bytes) {
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
