#pragma once
// Digits in and out of text, for the text forms of values: no allocation, no locale.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace vantry {

inline constexpr bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

inline constexpr int DigitOf(char c) {
    return c - '0';
}

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

// Two digits at `text`, or -1.
inline int TwoDigitsAt(const char* text) {
    return IsDigit(text[0]) && IsDigit(text[1]) ? DigitOf(text[0]) * 10 + DigitOf(text[1]) : -1;
}

inline std::string_view TrimBlanks(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) {
        text.remove_prefix(1);
    }
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) {
        text.remove_suffix(1);
    }
    return text;
}

}  // namespace vantry
