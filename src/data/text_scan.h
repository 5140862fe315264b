#pragma once
// Digits in and out of text, for the text forms of values: no allocation, no locale.

#include "data/ascii.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace vantry {

inline constexpr std::array<char, 200> kTwoDigits = [] {
    std::array<char, 200> table{};
    for (std::size_t i = 0; i < 100; ++i) {
        table[2 * i] = static_cast<char>('0' + i / 10);
        table[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return table;
}();

// Writes two digits and returns what is behind them; `value` is below 100.
inline char* PutTwoDigits(char* to, unsigned value) {
    std::memcpy(to, kTwoDigits.data() + std::size_t{2} * value, 2);
    return to + 2;
}

// Writes the digits of `value` so that they end at `end`, at least `width` of them; returns where
// they begin.
inline char* PutDigitsBefore(char* end, std::uint64_t value, std::ptrdiff_t width = 1) {
    char* to = end;
    while (value >= 100) {
        to -= 2;
        PutTwoDigits(to, static_cast<unsigned>(value % 100));
        value /= 100;
    }
    if (value >= 10) {
        to -= 2;
        PutTwoDigits(to, static_cast<unsigned>(value));
    } else if (value > 0) {
        *--to = static_cast<char>('0' + value);
    }
    while (end - to < width) {
        *--to = '0';
    }
    return to;
}

inline constexpr std::array<std::uint64_t, 20> kPowersOfTen = [] {
    std::array<std::uint64_t, 20> table{};
    std::uint64_t power = 1;
    for (auto& entry : table) {
        entry = power;
        power *= 10;
    }
    return table;
}();

// How many digits `value` has; one for 0.
inline int CountDigits(std::uint64_t value) {
    // 1233 / 4096 is the logarithm of 2, near enough for 64 bits.
    const int guess = (static_cast<int>(std::bit_width(value | 1)) * 1233) >> 12;
    return guess + (value >= kPowersOfTen[static_cast<std::size_t>(guess)] || guess == 0 ? 1 : 0);
}

// Numbers below this have eight digits at most, which fit one word.
inline constexpr std::uint64_t kEndOfEightDigits = 100'000'000;

// The digits of `value`, which is below 10^8, with zeros before them: each a byte from 0 to 9, the
// first one lowest. All at once, as halves of halves: digit by digit each would wait for the one
// before, and a loop over an unknown count of them guesses wrong at every other number.
inline std::uint64_t EightDigits(std::uint32_t value) {
    // Times 10486 / 2^20 is a hundredth of anything below 10^4, times 103 / 2^10 a tenth below 100.
    const std::uint64_t fours = value / 10'000 | std::uint64_t{value % 10'000} << 32;
    const std::uint64_t hundreds = (fours * 10'486 >> 20) & 0x0000007F0000007F;
    const std::uint64_t pairs = hundreds | (fours - hundreds * 100) << 16;
    const std::uint64_t tens = (pairs * 103 >> 10) & 0x000F000F000F000F;
    return tens | (pairs - tens * 10) << 8;
}

// Writes the eight bytes of `word` from the lowest on.
inline void PutEight(char* to, std::uint64_t word) {
    if constexpr (std::endian::native == std::endian::big) {
        word = __builtin_bswap64(word);
    }
    std::memcpy(to, &word, sizeof word);
}

// Writes the digits of `value` and returns what is behind them. Needs room for 20, whatever the
// value.
inline char* PutDigits(char* to, std::uint64_t value) {
    if (value < kEndOfEightDigits) {
        constexpr std::uint64_t kZeros = 0x3030303030303030;
        const std::uint64_t digits = EightDigits(static_cast<std::uint32_t>(value));
        // Zero has a digit, too.
        const int leading = std::countr_zero(digits | std::uint64_t{1} << 56) / 8;
        PutEight(to, (digits | kZeros) >> 8 * leading);
        return to + 8 - leading;
    }
    char* const end = to + CountDigits(value);
    PutDigitsBefore(end, value);
    return end;
}

// Appends `value` with zeros before it, up to `width` digits.
inline void AppendPadded(std::string& out, std::uint64_t value, std::ptrdiff_t width) {
    std::array<char, 40> digits;
    char* const end = digits.data() + digits.size();
    out.append(PutDigitsBefore(end, value, width), end);
}

// Two digits at `text`, or -1.
inline int TwoDigitsAt(const char* text) {
    return IsDigit(text[0]) && IsDigit(text[1]) ? DigitOf(text[0]) * 10 + DigitOf(text[1]) : -1;
}

// Eight characters as a number, the first one lowest.
inline std::uint64_t EightAt(const char* text) {
    std::uint64_t word = 0;
    std::memcpy(&word, text, sizeof word);
    if constexpr (std::endian::native == std::endian::big) {
        word = __builtin_bswap64(word);
    }
    return word;
}

// Reads eight characters that look like `shape`, in which a "0" stands for any digit and every
// other character for itself. On success byte i of `pairs` is the two-digit number at place i, if
// there is one.
inline bool ReadPairs(const char* text, const char* shape, std::uint64_t& pairs) {
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    const std::uint64_t pattern = EightAt(shape);
    const std::uint64_t word = EightAt(text) ^ pattern;
    // Digits have become 0 to 9 and all else that fits 0. Where the shape has no digit nothing may
    // be left; a byte of ten or more shows in its high bits, at the latest once 0x76 is added.
    const std::uint64_t not_zero = pattern ^ (kOnes * '0');
    const std::uint64_t fixed = ((not_zero + kOnes * 0x7F) & (kOnes * 0x80)) / 0x80 * 0xFF;
    if (((word | (word + kOnes * 0x76)) & (kOnes * 0x80)) != 0 || (word & fixed) != 0) {
        return false;
    }
    pairs = word * 10 + (word >> 8);
    return true;
}

inline constexpr int PairAt(std::uint64_t pairs, int place) {
    return static_cast<int>((pairs >> (8 * place)) & 0xFF);
}

// Of a number that a server wrote with all digits of its column's scale: "3.5" of "3.5000", "3" of
// "3.0000". What has no point, and what isn't plain digits at its end, is left.
inline std::string_view WithoutTrailingZeros(std::string_view number) {
    if (number.empty() || number.back() != '0' || number.find('.') == std::string_view::npos) {
        return number;
    }
    number = number.substr(0, number.find_last_not_of('0') + 1);
    if (number.back() == '.') {
        number.remove_suffix(1);
    }
    return number;
}

}  // namespace vantry
