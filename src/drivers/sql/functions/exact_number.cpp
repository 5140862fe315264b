// The header has the form; this is its writing and reading. The digits are cut into pairs from the
// decimal point outwards, so that the exponent is one of 100 and zeros at the ends vanish: that
// makes equal numbers of different scales equal byte by byte. Easy to get wrong: the order of
// negative numbers (all pairs turned over and an FF at the end, or -1.5 would sort before -1.52),
// numbers whose scale is odd, and the largest magnitude, whose sign can't simply be turned.

#include "drivers/sql/functions/exact_number.h"

#include "data/value_convert.h"

#include <bit>

namespace vantry::sql {
namespace {

constexpr unsigned kZero = 0x80;
constexpr int kExponentBias = 32;
constexpr unsigned kBeyond = 0xFF;
constexpr unsigned kBeyondNegative = 0x00;
constexpr int kMaxScale = 38;
constexpr int kMaxResultDigits = 28;
constexpr std::size_t kBeyondSize = 9;

// The smallest 128-bit number has no positive counterpart, hence unsigned.
UInt128 Magnitude(const Decimal& number) {
    const auto bits = static_cast<UInt128>(number.unscaled);
    return number.unscaled < 0 ? UInt128{0} - bits : bits;
}

bool FitsDigits(const Decimal& number, int digits) {
    return SignificantDigits(number) <= digits;
}

// left and right with one scale; false if that takes more digits than there is room for.
bool Align(Decimal& left, Decimal& right) {
    auto& shorter = left.scale < right.scale ? left : right;
    const auto scale = std::max(left.scale, right.scale);
    while (shorter.scale < scale) {
        if (__builtin_mul_overflow(shorter.unscaled, Int128{10}, &shorter.unscaled)) {
            return false;
        }
        ++shorter.scale;
    }
    return true;
}

double AsDouble(const Decimal& number) {
    return ToDouble(Cell::FromDecimal(number)).value_or(0);
}

}  // namespace

ExactBytes::ExactBytes(const Decimal& number) {
    auto rest = Magnitude(number);
    if (rest == 0) {
        Add(kZero);
        return;
    }
    std::array<std::uint8_t, 24> pairs{};  // the last one first
    int count = 0;
    int scale = number.scale;
    if (scale % 2 != 0) {
        pairs[static_cast<std::size_t>(count++)] = static_cast<std::uint8_t>(rest % 10 * 10);
        rest /= 10;
        ++scale;
    }
    const auto take = [&](auto whole) {
        for (; whole != 0; whole /= 100) {
            pairs[static_cast<std::size_t>(count++)] = static_cast<std::uint8_t>(whole % 100);
        }
    };
    // Division of 128 bits is a call of the library; most numbers need none.
    for (; rest > UINT64_MAX; rest /= 100) {
        pairs[static_cast<std::size_t>(count++)] = static_cast<std::uint8_t>(rest % 100);
    }
    take(static_cast<std::uint64_t>(rest));
    const auto header = static_cast<unsigned>(count - scale / 2 + kExponentBias);
    const bool negative = number.unscaled < 0;
    Add(negative ? kZero - header : kZero + header);
    // Pairs of zeros at the end say nothing: 1.50 and 1.5 must be the same bytes.
    int last = 0;
    while (pairs[static_cast<std::size_t>(last)] == 0) {
        ++last;
    }
    for (int k = count - 1; k >= last; --k) {
        const unsigned pair = pairs[static_cast<std::size_t>(k)] + 1U;
        Add(negative ? ~pair & 0xFF : pair);
    }
    // Turned over, a longer run of pairs must come before its own beginning.
    if (negative) {
        Add(0xFF);
    }
}

ExactBytes::ExactBytes(double number) {
    const bool negative = number < 0;
    const auto bits = std::bit_cast<std::uint64_t>(number);
    Add(negative ? kBeyondNegative : kBeyond);
    for (int shift = 56; shift >= 0; shift -= 8) {
        Add(static_cast<unsigned>((negative ? ~bits : bits) >> shift) & 0xFF);
    }
}

std::optional<double> BeyondDecimals(std::span<const std::byte> bytes) {
    if (bytes.size() != kBeyondSize) {
        return std::nullopt;
    }
    const auto header = std::to_integer<unsigned>(bytes[0]);
    if (header != kBeyond && header != kBeyondNegative) {
        return std::nullopt;
    }
    std::uint64_t bits = 0;
    for (const auto byte : bytes.subspan(1)) {
        bits = (bits << 8) | std::to_integer<std::uint64_t>(byte);
    }
    return std::bit_cast<double>(header == kBeyond ? bits : ~bits);
}

std::optional<Decimal> DecimalOfBytes(std::span<const std::byte> bytes) {
    if (bytes.empty()) {
        return std::nullopt;
    }
    const auto header = std::to_integer<unsigned>(bytes[0]);
    if (header == kZero) {
        return bytes.size() == 1 ? std::optional(Decimal{}) : std::nullopt;
    }
    const bool negative = header < kZero;
    const int exponent =
        static_cast<int>(negative ? kZero - header : header - kZero) - kExponentBias;
    auto pairs = bytes.subspan(1);
    if (negative) {
        if (pairs.empty() || pairs.back() != std::byte{0xFF}) {
            return std::nullopt;
        }
        pairs = pairs.first(pairs.size() - 1);
    }
    // 38 digits are 19 pairs, and one more where both ends are half filled.
    constexpr std::size_t kMostPairs = 20;
    if (pairs.empty() || pairs.size() > kMostPairs || exponent > 20 || exponent < -20) {
        return std::nullopt;
    }
    const int count = static_cast<int>(pairs.size());
    int scale = std::max(0, count - exponent) * 2;
    UInt128 magnitude = 0;
    // Ten to the 38th and more overflows only in bytes that aren't ours.
    const auto push = [&](unsigned base, unsigned digits) {
        return !__builtin_mul_overflow(magnitude, UInt128{base}, &magnitude) &&
               !__builtin_add_overflow(magnitude, UInt128{digits}, &magnitude);
    };
    for (int k = 0; k < std::max(count, exponent); ++k) {
        unsigned pair = 0;
        if (k < count) {
            const auto byte = std::to_integer<unsigned>(pairs[static_cast<std::size_t>(k)]);
            pair = (negative ? ~byte & 0xFF : byte) - 1U;
        }
        if (pair > 99) {
            return std::nullopt;
        }
        // The second digit of the last pair may be one that an odd scale filled in.
        const bool one_digit = k + 1 == count && scale > 0 && pair % 10 == 0;
        if (one_digit ? !push(10, pair / 10) : !push(100, pair)) {
            return std::nullopt;
        }
        scale -= one_digit ? 1 : 0;
    }
    constexpr UInt128 kLimit =
        static_cast<UInt128>(10'000'000'000'000'000'000ULL) * 10'000'000'000'000'000'000ULL;
    if (scale > kMaxScale || magnitude >= kLimit) {
        return std::nullopt;
    }
    const auto number = static_cast<Int128>(magnitude);
    return Decimal{negative ? -number : number, static_cast<std::uint8_t>(scale)};
}

std::optional<Decimal> DecimalOf(const Cell& number) {
    if (const auto decimal = ToDecimal(number)) {
        return decimal;
    }
    return ToDecimal(number, kMaxScale);  // a fraction with more decimals than there are
}

std::optional<Decimal> LongDecimal(const Cell& cell) {
    constexpr int kMostDecimals = 28;
    if (cell.Kind() == ValueKind::Double || cell.Kind() == ValueKind::Single) {
        return std::nullopt;
    }
    const auto decimal = ToDecimal(cell);
    return decimal && SignificantDigits(*decimal) > kDigitsOfDouble &&
                   decimal->scale <= kMostDecimals
               ? decimal
               : std::nullopt;
}

int SignificantDigits(const Decimal& number) {
    auto rest = Magnitude(number);
    while (rest != 0 && rest % 10 == 0) {
        rest /= 10;
    }
    int digits = 0;
    for (; rest != 0; rest /= 10) {
        ++digits;
    }
    return digits;
}

// Zeros at the end would count among the digits and push a sum that fits into doubles.
std::optional<Decimal> ExactSum(const Decimal& left, const Decimal& right) {
    auto a = WithoutTrailingZeros(left);
    auto b = WithoutTrailingZeros(right);
    Decimal sum;
    if (Align(a, b) && !__builtin_add_overflow(a.unscaled, b.unscaled, &sum.unscaled)) {
        sum.scale = a.scale;
        if (FitsDigits(sum, kMaxResultDigits)) {
            return WithoutTrailingZeros(sum);
        }
    }
    return DecimalOf(Cell::Double(AsDouble(left) + AsDouble(right)));
}

std::optional<Decimal> ExactProduct(const Decimal& left, const Decimal& right) {
    const auto a = WithoutTrailingZeros(left);
    const auto b = WithoutTrailingZeros(right);
    Decimal product;
    if (a.scale + b.scale <= kMaxScale &&
        !__builtin_mul_overflow(a.unscaled, b.unscaled, &product.unscaled)) {
        product.scale = static_cast<std::uint8_t>(a.scale + b.scale);
        if (FitsDigits(product, kMaxResultDigits)) {
            return WithoutTrailingZeros(product);
        }
    }
    return DecimalOf(Cell::Double(AsDouble(left) * AsDouble(right)));
}

}  // namespace vantry::sql
