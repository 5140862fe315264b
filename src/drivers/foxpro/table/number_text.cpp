// A table may be nothing but numbers, and each is text in its field. The digits of most are passed
// on as they stand there, and written as they come: both ways look first whether that is so, and
// take only the others apart. Easy to get wrong: numbers are rounded half away from zero here, not
// half to even; sign and point count in the width; and ".50" is what FoxPro writes where "0.50" has
// no room.

#include "drivers/foxpro/table/number_text.h"

#include "data/value_convert.h"
#include "data/value_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

namespace vantry::foxpro {
namespace {

constexpr std::size_t kMostScale = 38;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
bool IsPadding(char c) {
    return c == ' ' || c == '\0';
}

std::string_view WithoutPadding(std::string_view text) {
    while (!text.empty() && IsPadding(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsPadding(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// An optional "-", digits without a leading zero, and decimals if any; not a negative zero.
bool StandsAsItIs(std::string_view text) {
    const bool negative = text.front() == '-';
    std::size_t at = negative ? 1 : 0;
    const std::size_t first = at;
    bool nonzero = false;
    for (; at < text.size() && IsDigit(text[at]); ++at) {
        nonzero = nonzero || text[at] != '0';
    }
    const std::size_t whole = at - first;
    if (whole == 0 || (whole > 1 && text[first] == '0')) {
        return false;
    }
    if (at < text.size()) {
        if (text[at] != '.' || ++at == text.size()) {
            return false;
        }
        for (; at < text.size() && IsDigit(text[at]); ++at) {
            nonzero = nonzero || text[at] != '0';
        }
    }
    return at == text.size() && (nonzero || !negative);
}

constexpr std::array<std::uint64_t, 20> kPowers = [] {
    std::array<std::uint64_t, 20> powers{};
    std::uint64_t power = 1;
    for (auto& entry : powers) {
        entry = power;
        power *= 10;
    }
    return powers;
}();

Int128 Power(std::size_t exponent) {
    Int128 power = 1;
    for (; exponent > 0; --exponent) {
        power *= 10;
    }
    return power;
}

// 10^38, which no unscaled number reaches.
const Int128 kLimit = Power(kMostScale);

// Digits from the end of `digits` backwards; returns their beginning.
char* PutDigits(UInt128 value, char* end) {
    while (value > UINT64_MAX) {
        const auto part = static_cast<std::uint64_t>(value % kPowers[19]);
        value /= kPowers[19];
        std::uint64_t rest = part;
        for (int k = 0; k < 19; ++k) {
            *--end = static_cast<char>('0' + rest % 10);
            rest /= 10;
        }
    }
    auto rest = static_cast<std::uint64_t>(value);
    do {
        *--end = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    return end;
}

NumberFit Put(std::string_view text, std::span<std::byte> field) {
    if (text.size() > field.size()) {
        return NumberFit::TooLarge;
    }
    const std::size_t blanks = field.size() - text.size();
    std::memset(field.data(), ' ', blanks);
    std::memcpy(field.data() + blanks, text.data(), text.size());
    return NumberFit::Fits;
}

// Digits from the end, zeros up to the point, then the point; the sign last, as it counts in the
// width.
NumberFit PutScaled(Int128 unscaled, std::size_t decimals, std::span<std::byte> field) {
    std::array<char, 64> room;
    char* const end = room.data() + room.size();
    const bool negative = unscaled < 0;
    char* begin = PutDigits(static_cast<UInt128>(negative ? -unscaled : unscaled), end);
    if (decimals > 0) {
        while (static_cast<std::size_t>(end - begin) <= decimals) {
            *--begin = '0';
        }
        std::memmove(begin - 1, begin, static_cast<std::size_t>(end - begin) - decimals);
        --begin;
        *(end - decimals - 1) = '.';
        const auto width = static_cast<std::size_t>(end - begin) + (negative ? 1 : 0);
        if (width > field.size() && *begin == '0') {
            ++begin;  // .50 is what FoxPro writes where 0.50 has no room
        }
    }
    if (negative) {
        *--begin = '-';
    }
    return Put({begin, static_cast<std::size_t>(end - begin)}, field);
}

}  // namespace

// Foreign writers leave a comma, a plus, an exponent or a bare point; asterisks stand where FoxPro
// had no room for the number, and are no number.
std::optional<Cell> ReadNumber(std::string_view stored) {
    const auto text = WithoutPadding(stored);
    if (text.empty() || text == "." || text == "-") {
        return Cell::Null();
    }
    if (StandsAsItIs(text)) {
        return Cell::NumberText(text);
    }
    std::string plain(text);
    std::replace(plain.begin(), plain.end(), ',', '.');
    const std::size_t sign = plain.front() == '+' || plain.front() == '-' ? 1 : 0;
    const bool negative = plain.front() == '-';
    if (sign < plain.size() && plain[sign] == '.') {
        plain.insert(sign, "0");
    }
    plain.erase(0, sign);
    if (plain.empty() || !IsDigit(plain.front())) {
        return std::nullopt;
    }
    if (const auto decimal = ParseDecimal(plain)) {
        return Cell::FromDecimal(
            {negative ? -decimal->unscaled : decimal->unscaled, decimal->scale});
    }
    if (const auto number = ParseDouble(plain)) {
        return Cell::Double(negative ? -*number : *number);
    }
    return std::nullopt;
}

// Half away from zero, as FoxPro rounds; the general conversions round half to even.
std::optional<Int128> ScaledNumber(const Cell& value, std::size_t scale) {
    auto decimal = ToDecimal(value);
    if (!decimal) {
        // Of a very small number 38 places hold no digit, and none of its own counts here.
        constexpr int kPlacesThatCount = 24;
        decimal = ToDecimal(value, kPlacesThatCount);
    }
    if (!decimal || scale > kMostScale) {
        return std::nullopt;
    }
    Int128 unscaled = decimal->unscaled;
    if (decimal->scale > scale) {
        const Int128 divisor = Power(decimal->scale - scale);
        const Int128 rest = unscaled % divisor;
        unscaled /= divisor;
        if ((rest < 0 ? -rest : rest) >= divisor - (rest < 0 ? -rest : rest)) {
            unscaled += rest < 0 ? -1 : 1;
        }
        return unscaled;
    }
    for (std::size_t at = decimal->scale; at < scale; ++at) {
        if (unscaled >= kLimit / 10 || unscaled <= -kLimit / 10) {
            return std::nullopt;
        }
        unscaled *= 10;
    }
    return unscaled;
}

NumberFit WriteNumber(const Cell& value, std::size_t decimals, std::span<std::byte> field) {
    if (value.Kind() == ValueKind::Int64 && decimals == 0) {
        std::array<char, 24> room;
        const auto end = std::to_chars(room.data(), room.data() + room.size(), value.AsInt64()).ptr;
        return Put({room.data(), static_cast<std::size_t>(end - room.data())}, field);
    }
    if (value.Kind() == ValueKind::NumberText) {
        const auto text = value.AsText();
        const auto point = text.find('.');
        const std::size_t has = point == std::string_view::npos ? 0 : text.size() - point - 1;
        // Nothing to round or to shift then.
        if (has == decimals && text.size() <= field.size()) {
            return Put(text, field);
        }
    }
    const auto scaled = ScaledNumber(value, decimals);
    if (scaled) {
        return PutScaled(*scaled, decimals, field);
    }
    // A number all the same, but one that 38 digits don't hold.
    return ToDouble(value) ? NumberFit::TooLarge : NumberFit::NotANumber;
}

}  // namespace vantry::foxpro
