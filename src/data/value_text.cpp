// Numbers as text and back, in the buffers of the callers, without a locale. Doubles are the
// expensive ones: most of them in tables have few decimals, which one multiplication and an exact
// division back can prove, and only the others go through the shortest-digits algorithm of the
// standard library. Easy to get wrong: notation changes at 1E+15 and below 1E-04 (targets read the
// text back, and old files are compared with new ones), zero has no sign in text, and reading must
// take no word for a number that from_chars would take (nan, inf, hexadecimal).

#include "data/value_text.h"

#include "data/connection_string.h"
#include "data/text_scan.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>

namespace vantry {
namespace {

constexpr int kMaxDecimalDigits = 38;
constexpr int kSignificantDigits = 15;
// Plain notation from 1E-04 on and below 1E+15; decimal exponents of the first digit.
constexpr int kFirstPlainExponent = -4;
constexpr int kLastPlainExponent = 14;
constexpr std::uint64_t kTenTo19 = 10'000'000'000'000'000'000ULL;

// Negated as unsigned: INT64_MIN has no positive twin.
char* PutInt64(char* to, std::int64_t value) {
    const auto bits = static_cast<std::uint64_t>(value);
    if (value < 0) {
        *to++ = '-';
    }
    return PutDigits(to, value < 0 ? 0 - bits : bits);
}

// What doesn't fit 64 bits, or has more decimals than they have digits.
char* PutLongScaled(char* to, UInt128 unscaled, std::size_t scale) {
    std::array<char, kLongestShortText> buffer;
    char* const end = buffer.data() + buffer.size();
    char* begin = end;
    // 19 digits at a time: the most that 64 bits hold.
    while (unscaled >= kTenTo19) {
        begin = PutDigitsBefore(begin, static_cast<std::uint64_t>(unscaled % kTenTo19), 19);
        unscaled /= kTenTo19;
    }
    begin = PutDigitsBefore(begin, static_cast<std::uint64_t>(unscaled));
    while (end - begin < static_cast<std::ptrdiff_t>(scale) + 1) {
        *--begin = '0';
    }
    to = std::copy(begin, end - scale, to);
    if (scale > 0) {
        *to++ = '.';
    }
    return std::copy(end - scale, end, to);
}

// `eight` as EightDigits gives them, with a point before the last `scale` of them, which are seven
// at most.
char* PutEightScaled(char* to, std::uint64_t eight, std::size_t scale) {
    constexpr std::uint64_t kZeros = 0x3030303030303030;
    const auto all = static_cast<std::size_t>(std::countr_zero(eight | std::uint64_t{1} << 56)) / 8;
    const std::size_t leading = std::min(all, 7 - scale);
    const std::uint64_t digits = (eight | kZeros) >> 8 * leading;
    const std::size_t whole = 8 - leading - scale;  // 1 to 8
    PutEight(to, digits);
    to += whole;
    if (scale > 0) {
        *to++ = '.';
        PutEight(to, digits >> 8 * whole);
        to += scale;
    }
    return to;
}

// `unscaled` / 10^`scale`.
char* PutScaled(char* to, bool negative, UInt128 unscaled, std::size_t scale) {
    if (negative) {
        *to++ = '-';
    }
    if (unscaled > UINT64_MAX || scale >= kPowersOfTen.size()) {
        return PutLongScaled(to, unscaled, scale);
    }
    const auto digits = static_cast<std::uint64_t>(unscaled);
    if (digits < kEndOfEightDigits && scale < 8) {
        return PutEightScaled(to, EightDigits(static_cast<std::uint32_t>(digits)), scale);
    }
    const std::uint64_t whole = digits / kPowersOfTen[scale];
    to = PutDigits(to, whole);
    if (scale > 0) {
        *to++ = '.';
        to += scale;
        PutDigitsBefore(
            to, digits - whole * kPowersOfTen[scale], static_cast<std::ptrdiff_t>(scale));
    }
    return to;
}

// Most numbers of tables have few decimals. Such a value times a small power of ten is whole, and
// the division back, being exactly rounded, proves that the digits read back as the value. With at
// most 15 digits no other number of so few digits does. Null: the value isn't one of them.
char* PutFewDecimals(char* to, double value) {
    const double magnitude = std::abs(value);
    struct Step {
        double power;
        std::size_t decimals;
    };
    for (const Step step : {Step{1, 0}, Step{1e2, 2}, Step{1e4, 4}}) {
        const double scaled = magnitude * step.power + 0.5;
        if (!(scaled < 1e15)) {
            return nullptr;
        }
        auto digits = static_cast<std::uint64_t>(scaled);
        if (static_cast<double>(digits) / step.power == magnitude) {
            std::size_t decimals = step.decimals;
            while (decimals > 0 && digits % 10 == 0) {
                digits /= 10;
                --decimals;
            }
            return PutScaled(to, value < 0, digits, decimals);
        }
    }
    return nullptr;
}

char* Put(char* to, std::string_view text) {
    return std::copy(text.begin(), text.end(), to);
}

// The shortest digits that read back as `value`, which is finite and not zero.
template <typename Float>
char* PutShortest(char* to, Float value) {
    std::array<char, 64> buffer;
    const auto written = std::to_chars(
        buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::scientific);
    std::string_view text(buffer.data(), static_cast<std::size_t>(written.ptr - buffer.data()));
    if (text.front() == '-') {
        *to++ = '-';
        text.remove_prefix(1);
    }
    // What to_chars writes in this format, always with an exponent of two digits or more.
    // "d.ddde-xx" or "de+xx"
    const std::size_t e = text.find('e');
    int exponent = 0;
    const char* exponent_from = text.data() + e + (text[e + 1] == '+' ? 2 : 1);
    std::from_chars(exponent_from, text.data() + text.size(), exponent);
    std::array<char, 32> digits;
    digits[0] = text[0];
    const std::string_view rest = e > 2 ? text.substr(2, e - 2) : std::string_view{};
    std::copy(rest.begin(), rest.end(), digits.begin() + 1);
    const std::string_view all(digits.data(), 1 + rest.size());

    if (exponent < kFirstPlainExponent || exponent > kLastPlainExponent) {
        *to++ = all[0];
        if (all.size() > 1) {
            *to++ = '.';
            to = Put(to, all.substr(1));
        }
        const int magnitude = std::abs(exponent);
        to = Put(to, exponent < 0 ? "E-" : "E+");
        to = Put(to, magnitude < 10 ? "0" : "");
        return PutInt64(to, magnitude);
    }
    if (exponent < 0) {
        to = Put(to, "0.");
        return Put(std::fill_n(to, -exponent - 1, '0'), all);
    }
    const auto whole = static_cast<std::size_t>(exponent) + 1;
    to = Put(to, all.substr(0, whole));
    if (all.size() > whole) {
        *to++ = '.';
        return Put(to, all.substr(whole));
    }
    return std::fill_n(to, whole - all.size(), '0');
}

// Names rather than an empty text: a null is something else.
template <typename Float>
char* PutFloat(char* to, Float value) {
    if (std::isnan(value)) {
        return Put(to, "NaN");
    }
    if (std::isinf(value)) {
        return Put(to, value < 0 ? "-Infinity" : "Infinity");
    }
    return PutShortest(to, value);
}

char* PutDecimal(char* to, const Decimal& value) {
    const auto bits = static_cast<UInt128>(value.unscaled);
    return PutScaled(to, value.unscaled < 0, value.unscaled < 0 ? 0 - bits : bits, value.scale);
}

// As a double of the same value is written: 3.5000 of a column with four decimals is "3.5". The
// zeros go before the digits are written: to look for them afterwards is to wait for the writes.
char* PutWithoutTrailingZeros(char* to, const Decimal& value) {
    const bool negative = value.unscaled < 0;
    auto digits = static_cast<UInt128>(value.unscaled);
    digits = negative ? 0 - digits : digits;
    std::size_t scale = value.scale;
    if (digits < kEndOfEightDigits && scale < 8) {
        const std::uint64_t eight = EightDigits(static_cast<std::uint32_t>(digits));
        const auto zeros = static_cast<std::size_t>(std::countl_zero(eight)) / 8;
        const std::size_t dropped = std::min(zeros, scale);
        if (negative) {
            *to++ = '-';
        }
        return PutEightScaled(to, eight << 8 * dropped, scale - dropped);
    }
    if (digits <= UINT64_MAX) {
        auto few = static_cast<std::uint64_t>(digits);
        for (; scale >= 2 && few % 100 == 0; scale -= 2) {
            few /= 100;
        }
        if (scale >= 1 && few % 10 == 0) {
            few /= 10;
            --scale;
        }
        return PutScaled(to, negative, few, scale);
    }
    for (; scale > 0 && digits % 10 == 0; --scale) {
        digits /= 10;
    }
    return PutScaled(to, negative, digits, scale);
}

char* PutDouble(char* to, double value) {
    char* const end = PutFewDecimals(to, value);
    return end != nullptr ? end : PutFloat(to, value);
}

char* PutSingle(char* to, float value) {
    return value == 0 ? Put(to, "0")  // also the negative one
                      : PutFloat(to, value);
}

// Up to 15 digits with a point among them or none: both their whole and the power of ten that
// divides it are exact as doubles, so that one division rounds as the library does.
std::optional<double> ShortDouble(std::string_view text) {
    constexpr std::size_t kExactDigits = 15;
    constexpr std::array<double, kExactDigits + 1> kPowersOfTen = {
        1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    if (text.size() > kExactDigits) {
        return std::nullopt;
    }
    std::int64_t digits = 0;
    std::size_t behind_point = text.size();
    for (std::size_t k = 0; k < text.size(); ++k) {
        if (IsDigit(text[k])) {
            digits = digits * 10 + DigitOf(text[k]);
        } else if (text[k] == '.' && behind_point == text.size() && text.size() > 1) {
            behind_point = k + 1;
        } else {
            return std::nullopt;
        }
    }
    return static_cast<double>(digits) / kPowersOfTen[text.size() - behind_point];
}

}  // namespace

void AppendDecimal(const Decimal& value, std::string& out) {
    std::array<char, kLongestShortText> text;
    out.append(text.data(), PutDecimal(text.data(), value));
}

void AppendDouble(double value, std::string& out) {
    std::array<char, kLongestShortText> text;
    out.append(text.data(), PutDouble(text.data(), value));
}

char* PutShortText(const Cell& value, char* to) {
    switch (value.Kind()) {
        case ValueKind::Boolean:
            return Put(to, value.AsBoolean() ? "True" : "False");
        case ValueKind::Int64:
            return PutInt64(to, value.AsInt64());
        case ValueKind::UInt64:
            return PutDigits(to, value.AsUInt64());
        case ValueKind::Single:
            return PutSingle(to, value.AsSingle());
        case ValueKind::Double:
            return PutDouble(to, value.AsDouble());
        case ValueKind::Decimal:
            return PutWithoutTrailingZeros(to, value.AsDecimal());
        case ValueKind::DateTime:
            return PutDateTime(value.AsDateTime(), to);
        case ValueKind::Unset:
        case ValueKind::Null:
        case ValueKind::Unreadable:
        case ValueKind::NumberText:
        case ValueKind::Text:
        case ValueKind::Bytes:
            break;
    }
    return to;
}

void AppendText(const Cell& value, std::string& out) {
    if (value.IsView()) {
        out.append(value.AsText());
        return;
    }
    std::array<char, kLongestShortText> text;
    out.append(text.data(), PutShortText(value, text.data()));
}

std::string ToText(const Cell& value) {
    std::string text;
    AppendText(value, text);
    return text;
}

// A plus sign is allowed before digits only: from_chars would not take it, and "+-5" must fail.
std::optional<std::int64_t> ParseInt64(std::string_view text) {
    text = TrimBlanks(text);
    if (text.size() > 1 && text[0] == '+' && IsDigit(text[1])) {
        text.remove_prefix(1);
    }
    std::int64_t value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end) {
        return std::nullopt;
    }
    return value;
}

std::optional<double> ParseDouble(std::string_view text) {
    text = TrimBlanks(text);
    bool negative = false;
    if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
        negative = text[0] == '-';
        text.remove_prefix(1);
    }
    // The library also reads "inf" and "nan".
    if (text.empty() || !(IsDigit(text[0]) || text[0] == '.')) {
        return std::nullopt;
    }
    if (const auto short_one = ShortDouble(text)) {
        return negative ? -*short_one : *short_one;
    }
    double value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end) {
        return std::nullopt;
    }
    return negative ? -value : value;
}

std::optional<Decimal> ParseDecimal(std::string_view text) {
    text = TrimBlanks(text);
    bool negative = false;
    if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
        negative = text[0] == '-';
        text.remove_prefix(1);
    }
    UInt128 high = 0;
    std::uint64_t low = 0;  // the digits since the last move into `high`
    std::uint64_t low_power = 1;
    int significant = 0;
    std::size_t decimals = 0;
    bool point = false;
    bool any = false;
    for (const char c : text) {
        if (c == '.' && !point) {
            point = true;
            continue;
        }
        if (!IsDigit(c)) {
            return std::nullopt;
        }
        any = true;
        decimals += point ? 1 : 0;
        significant += significant > 0 || c != '0' ? 1 : 0;
        if (significant > kMaxDecimalDigits || decimals > kMaxDecimalDigits) {
            return std::nullopt;
        }
        low = low * 10 + static_cast<std::uint64_t>(DigitOf(c));
        low_power *= 10;
        if (low_power == kTenTo19) {
            high = high * low_power + low;
            low = 0;
            low_power = 1;
        }
    }
    if (!any) {
        return std::nullopt;
    }
    const auto unscaled = static_cast<Int128>(high * low_power + low);
    return Decimal{negative ? -unscaled : unscaled, static_cast<std::uint8_t>(decimals)};
}

std::optional<bool> ParseBoolean(std::string_view text) {
    text = TrimBlanks(text);
    for (const auto word : {"True", "Yes", "On"}) {
        if (EqualsNoCase(text, word)) {
            return true;
        }
    }
    for (const auto word : {"False", "No", "Off"}) {
        if (EqualsNoCase(text, word)) {
            return false;
        }
    }
    const auto number = ParseDouble(text);
    return number ? std::optional<bool>(*number != 0) : std::nullopt;
}

bool IsCanonicalNumber(std::string_view text) {
    const char* at = text.data();
    const char* const end = at + text.size();
    const bool negative = at != end && *at == '-';
    at += negative ? 1 : 0;
    const char* const whole = at;
    while (at != end && IsDigit(*at)) {
        ++at;
    }
    const std::ptrdiff_t whole_digits = at - whole;
    if (whole_digits == 0 || whole_digits > kSignificantDigits ||
        (*whole == '0' && whole_digits > 1)) {
        return false;
    }
    const bool below_one = *whole == '0';
    if (at == end) {
        return !(below_one && negative);
    }
    if (*at != '.' || end[-1] == '0' || end[-1] == '.') {
        return false;
    }
    const char* const fraction = ++at;
    while (at != end && *at == '0') {
        ++at;
    }
    const std::ptrdiff_t zeros = at - fraction;
    const char* const significant = at;
    while (at != end && IsDigit(*at)) {
        ++at;
    }
    if (at != end) {
        return false;
    }
    if (below_one) {
        // More zeros and the number would be written with an exponent.
        return zeros < -kFirstPlainExponent && end - significant <= kSignificantDigits;
    }
    return whole_digits + (end - fraction) <= kSignificantDigits;
}

}  // namespace vantry
