// Any value as a number, date or boolean. All exact conversions meet in one form, digits times a
// power of ten with a sign (Scientific), which every kind can be brought into without loss; from
// there a scale is reached by one rounding, halves to the even digit. Easy to get wrong: a double
// is taken as its shortest digits (0.1 is meant as 0.1, not as its 55 binary decimals), True is -1
// as in the databases that have it as a number, and INT64_MIN has no positive twin.

#include "data/value_convert.h"

#include "data/text_scan.h"
#include "data/value_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace vantry {
namespace {

constexpr int kMaxDigits = 38;
// Powers of ten up to here, and whole numbers up to 2^53, are exact as doubles.
constexpr int kMaxExactPower = 22;
constexpr double kTwoTo63 = 9223372036854775808.0;
constexpr UInt128 kMaxExactWhole = UInt128{1} << 53;

constexpr std::array<UInt128, kMaxDigits + 1> kPowers = [] {
    std::array<UInt128, kMaxDigits + 1> powers{};
    UInt128 power = 1;
    for (auto& entry : powers) {
        entry = power;
        power *= 10;
    }
    return powers;
}();

UInt128 PowerOfTen(int exponent) {
    return kPowers[static_cast<std::size_t>(exponent)];
}

// digits * 10^exponent: what a number is before it has a scale. digits < 10^38.
struct Scientific {
    UInt128 digits = 0;
    int exponent = 0;
    bool negative = false;
};

// By unsigned negation: -INT128_MIN would overflow.
UInt128 Magnitude(Int128 value) {
    const auto bits = static_cast<UInt128>(value);
    return value < 0 ? 0 - bits : bits;
}

template <typename Float>
std::optional<Scientific> FromFloat(Float value) {
    if (!std::isfinite(value)) {
        return std::nullopt;
    }
    if (value >= -kTwoTo63 && value < kTwoTo63 && std::trunc(value) == value) {
        const auto whole = static_cast<std::int64_t>(value);
        return Scientific{Magnitude(whole), 0, whole < 0};
    }
    // The shortest digits that read back: 0.1 is meant as 0.1.
    std::array<char, 64> buffer;
    const auto written = std::to_chars(
        buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::scientific);
    Scientific number;
    number.negative = std::signbit(value);
    bool point = false;
    const char* at = buffer.data() + (number.negative ? 1 : 0);
    for (; *at != 'e'; ++at) {
        if (*at == '.') {
            point = true;
        } else {
            number.digits = number.digits * 10 + static_cast<unsigned>(DigitOf(*at));
            number.exponent -= point ? 1 : 0;
        }
    }
    at += at[1] == '+' ? 2 : 1;
    int exponent = 0;
    std::from_chars(at, written.ptr, exponent);
    number.exponent += exponent;
    return number;
}

Scientific FromDecimal(const Decimal& value) {
    return {Magnitude(value.unscaled), -static_cast<int>(value.scale), value.unscaled < 0};
}

// "1 E5" and "1E 5" aren't numbers anywhere else either.
std::optional<Scientific> FromText(std::string_view text) {
    text = TrimBlanks(text);
    // The mantissa keeps its digits as they are; the exponent only moves the point.
    const std::size_t mark = text.find_first_of("eE");
    const auto mantissa = ParseDecimal(text.substr(0, mark));
    if (!mantissa) {
        return std::nullopt;
    }
    Scientific number = FromDecimal(*mantissa);
    if (mark != std::string_view::npos) {
        const auto exponent = ParseInt64(text.substr(mark + 1));
        constexpr std::int64_t kReach = 1000;  // no double goes so far
        if (!exponent || *exponent > kReach || *exponent < -kReach || text[mark - 1] == ' ' ||
            text[mark + 1] == ' ') {
            return std::nullopt;
        }
        number.exponent += static_cast<int>(*exponent);
    }
    return number;
}

std::optional<Scientific> ToScientific(const Cell& value) {
    switch (value.Kind()) {
        case ValueKind::Boolean:
            return Scientific{value.AsBoolean() ? UInt128{1} : UInt128{0}, 0, value.AsBoolean()};
        case ValueKind::Int64:
            return Scientific{Magnitude(value.AsInt64()), 0, value.AsInt64() < 0};
        case ValueKind::UInt64:
            return Scientific{value.AsUInt64(), 0, false};
        case ValueKind::Single:
            return FromFloat(value.AsSingle());
        case ValueKind::Double:
            return FromFloat(value.AsDouble());
        case ValueKind::DateTime:
            return FromFloat(ToSerial(value.AsDateTime()));
        case ValueKind::Decimal:
            return FromDecimal(value.AsDecimal());
        case ValueKind::NumberText:
        case ValueKind::Text:
            return FromText(value.AsText());
        default:
            return std::nullopt;
    }
}

// The number's digits with exactly `scale` decimals; nothing above 38 digits.
struct Rounded {
    UInt128 digits = 0;
    bool exact = true;
};
std::optional<Rounded> RoundTo(const Scientific& number, int scale) {
    const int shift = number.exponent + scale;
    if (number.digits == 0) {
        return Rounded{};
    }
    if (shift >= 0) {
        if (shift >= kMaxDigits || number.digits >= PowerOfTen(kMaxDigits - shift)) {
            return std::nullopt;
        }
        return Rounded{number.digits * PowerOfTen(shift), true};
    }
    // Less than half of the last digit that is kept: nought, but not exactly.
    if (-shift > kMaxDigits) {
        return Rounded{0, false};
    }
    const UInt128 divisor = PowerOfTen(-shift);
    const UInt128 rest = number.digits % divisor;
    UInt128 quotient = number.digits / divisor;
    const bool up = rest > divisor / 2 || (rest == divisor / 2 && quotient % 2 == 1);
    quotient += up ? 1 : 0;
    return Rounded{quotient, rest == 0};
}

std::optional<std::int64_t> WithSign(UInt128 digits, bool negative) {
    const UInt128 most = static_cast<UInt128>(INT64_MAX) + (negative ? 1 : 0);
    if (digits > most) {
        return std::nullopt;
    }
    const auto low = static_cast<std::uint64_t>(digits);
    return static_cast<std::int64_t>(negative ? 0 - low : low);
}

// Text that is plainly a whole number goes past the exact form.
std::optional<std::int64_t> ToWhole(const Cell& value, bool round) {
    if (value.Kind() == ValueKind::Int64) {
        return value.AsInt64();
    }
    if (value.Kind() == ValueKind::Text || value.Kind() == ValueKind::NumberText) {
        if (const auto plain = ParseInt64(value.AsText())) {
            return plain;
        }
    }
    const auto number = ToScientific(value);
    if (!number) {
        return std::nullopt;
    }
    const auto whole = RoundTo(*number, 0);
    if (!whole || (!round && !whole->exact)) {
        return std::nullopt;
    }
    return WithSign(whole->digits, number->negative);
}

std::optional<Decimal> DecimalOf(const Scientific& number, int scale) {
    const auto rounded = RoundTo(number, scale);
    if (!rounded || rounded->digits >= PowerOfTen(kMaxDigits)) {
        return std::nullopt;
    }
    const auto unscaled = static_cast<Int128>(rounded->digits);
    return Decimal{number.negative ? -unscaled : unscaled, static_cast<std::uint8_t>(scale)};
}

double DecimalToDouble(const Decimal& value) {
    const UInt128 magnitude = Magnitude(value.unscaled);
    if (magnitude <= kMaxExactWhole && value.scale <= kMaxExactPower) {
        // One exactly rounded division of two exact numbers.
        return static_cast<double>(static_cast<std::int64_t>(value.unscaled)) /
               static_cast<double>(PowerOfTen(value.scale));
    }
    std::string text;
    AppendDecimal(value, text);
    return ParseDouble(text).value_or(0);
}

}  // namespace

std::optional<std::int64_t> ToInt64(const Cell& value) {
    return ToWhole(value, false);
}

std::optional<std::int64_t> ToInt64Rounded(const Cell& value) {
    return ToWhole(value, true);
}

std::optional<double> ToDouble(const Cell& value) {
    switch (value.Kind()) {
        case ValueKind::Boolean:
            return value.AsBoolean() ? -1.0 : 0.0;
        case ValueKind::Int64:
            return static_cast<double>(value.AsInt64());
        case ValueKind::UInt64:
            return static_cast<double>(value.AsUInt64());
        case ValueKind::Single:
            return value.AsSingle();
        case ValueKind::Double:
            return value.AsDouble();
        case ValueKind::Decimal:
            return DecimalToDouble(value.AsDecimal());
        case ValueKind::DateTime:
            return ToSerial(value.AsDateTime());
        case ValueKind::NumberText:
        case ValueKind::Text:
            return ParseDouble(value.AsText());
        default:
            return std::nullopt;
    }
}

std::optional<Decimal> ToDecimal(const Cell& value) {
    const auto number = ToScientific(value);
    if (!number) {
        return std::nullopt;
    }
    const int scale = std::max(0, -number->exponent);
    return scale <= kMaxDigits ? DecimalOf(*number, scale) : std::nullopt;
}

std::optional<Decimal> ToDecimal(const Cell& value, int scale) {
    if (scale < 0 || scale > kMaxDigits) {
        return std::nullopt;
    }
    const auto number = ToScientific(value);
    return number ? DecimalOf(*number, scale) : std::nullopt;
}

// One value, one form: 1.50 and 1.5 compare and print alike.
Decimal WithoutTrailingZeros(Decimal number) {
    while (number.scale > 0 && number.unscaled % 10 == 0) {
        number.unscaled /= 10;
        --number.scale;
    }
    return number;
}

std::optional<bool> ToBoolean(const Cell& value) {
    switch (value.Kind()) {
        case ValueKind::Boolean:
            return value.AsBoolean();
        case ValueKind::Text:
            return ParseBoolean(value.AsText());
        case ValueKind::DateTime:
            return std::nullopt;
        default:
            break;
    }
    const auto number = ToDouble(value);
    return number ? std::optional<bool>(*number != 0) : std::nullopt;
}

std::optional<DateTime> ToDateTime(const Cell& value) {
    switch (value.Kind()) {
        case ValueKind::DateTime:
            return value.AsDateTime();
        case ValueKind::Text:
            return ParseDateTime(value.AsText());
        // True as a day would be 1899-12-29: surely not what was meant.
        case ValueKind::Boolean:
            return std::nullopt;
        default:
            break;
    }
    const auto serial = ToDouble(value);
    return serial ? FromSerial(*serial) : std::nullopt;
}

}  // namespace vantry
