#pragma once
// The first columns of a file of rejected rows, by which what writes it and what reads it back know
// it. In such a file bytes are 0x and hexadecimal digits without quotes, and texts stand in quotes.

#include <array>
#include <cstdint>
#include <string_view>

namespace vantry {

inline constexpr std::array<std::string_view, 4> kRejectColumns = {
    "Table", "Row", "State", "Reason"};

// "0x" and an even number of digits.
constexpr bool IsHexForm(std::string_view text) {
    return text.size() >= 2 && text.size() % 2 == 0 && text.starts_with("0x") &&
           text.find_first_not_of("0123456789ABCDEFabcdef", 2) == text.npos;
}
constexpr std::uint8_t ValueOfHexDigit(char digit) {
    return static_cast<std::uint8_t>(digit <= '9' ? digit - '0' : (digit | 0x20) - 'a' + 10);
}

}  // namespace vantry
