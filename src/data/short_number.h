#pragma once
// Reads the numbers that most columns are full of, up to 16 characters, eight digits at a time and
// without a loop over them: for who looks at every value of a table. ParseDecimal (value_text.h)
// reads all others.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace vantry {

// unscaled / 10^scale; the scale counts the digits behind the point as they were written.
struct ShortNumber {
    std::int64_t unscaled = 0;
    std::uint8_t scale = 0;
};

namespace short_number {

template <typename Word>
std::uint64_t Load(const char* at) {
    Word word;
    std::memcpy(&word, at, sizeof word);
    return word;
}

inline constexpr std::uint64_t kOnes = 0x0101'0101'0101'0101U;
inline constexpr std::uint64_t kZeros = kOnes * '0';

// The last up to 8 bytes of a text of 1 to 8, as they lie in memory, its end at the word's highest
// byte. No byte behind or before the text is touched.
inline std::uint64_t LoadUpTo8(const char* at, std::size_t size) {
    const std::size_t room = 8 * (8 - size);
    if (size == 8) {
        return Load<std::uint64_t>(at) ^ kZeros;
    }
    if (size >= 4) {
        // What both loads have of the middle is the same.
        const auto low = (Load<std::uint32_t>(at) ^ (kZeros >> 32U)) << room;
        return low | ((Load<std::uint32_t>(at + size - 4) ^ (kZeros >> 32U)) << 32U);
    }
    const auto byte = [&](std::size_t k) {
        return std::uint64_t{static_cast<unsigned char>(at[k])} ^ '0';
    };
    return byte(0) << room | byte(size / 2) << (room + 8 * (size / 2)) | byte(size - 1) << 56U;
}

// Eight digits as numbers, the first one in the lowest byte: pairs, then fours, then all.
inline std::uint64_t Join(std::uint64_t digits) {
    constexpr std::uint64_t kPairs = 0x0000'00FF'0000'00FFU;
    digits = digits * 10 + (digits >> 8U);
    return ((digits & kPairs) * (100 + (std::uint64_t{1'000'000} << 32U)) +
            ((digits >> 16U) & kPairs) * (1 + (std::uint64_t{10'000} << 32U))) >>
           32U;
}

inline bool AreDigits(std::uint64_t word) {
    return (((word + kOnes * 0x76) | word) & (kOnes * 0x80)) == 0;
}

}  // namespace short_number

// Whether all 1 to 16 characters are digits.
inline bool AreDigits(std::string_view text) {
    if constexpr (std::endian::native != std::endian::little) {
        return text.find_first_not_of("0123456789") == text.npos;
    }
    namespace own = short_number;
    return text.size() <= 8
               ? own::AreDigits(own::LoadUpTo8(text.data(), text.size()))
               : own::AreDigits(own::Load<std::uint64_t>(text.data()) ^ own::kZeros) &&
                     own::AreDigits(own::Load<std::uint64_t>(text.data() + text.size() - 8) ^
                                    own::kZeros);
}

// Digits with at most one point among them and perhaps a minus before them. False: the text is none
// of these, and `number` is as it was.
inline bool ReadShortNumber(std::string_view text, ShortNumber& number) {
    if constexpr (std::endian::native != std::endian::little) {
        return false;  // the words below are read as these machines keep them
    }
    namespace own = short_number;
    const bool minus = !text.empty() && text[0] == '-';
    const char* const at = text.data() + (minus ? 1 : 0);
    const std::size_t size = text.size() - (minus ? 1 : 0);
    if (size == 0 || size > 16) {
        return false;
    }
    std::uint64_t high = 0;  // all but the last eight characters
    std::uint64_t low = 0;
    if (size <= 8) {
        low = own::LoadUpTo8(at, size);
    } else {
        high = own::LoadUpTo8(at, size - 8);
        low = own::Load<std::uint64_t>(at + size - 8) ^ own::kZeros;
    }
    std::uint8_t scale = 0;
    if (!own::AreDigits(high) || !own::AreDigits(low)) {
        // The point's byte is found and taken out: what stands before it moves up by one place. The
        // lowest mark is that of a point; marks above it may be wrong.
        constexpr std::uint64_t kPoints = own::kOnes * ('.' ^ '0');
        const auto points = [](std::uint64_t word) {
            word ^= kPoints;
            return (word - own::kOnes) & ~word & (own::kOnes * 0x80);
        };
        const auto before = [](std::uint64_t word, int place) {
            return word & ((std::uint64_t{1} << static_cast<unsigned>(place)) - 1);
        };
        if (size == 1) {
            return false;  // digits there must be
        }
        if (const auto in_high = points(high); in_high != 0) {
            const int place = std::countr_zero(in_high) / 8 * 8;
            const auto lead = before(high, place);
            high = (high & ~(lead | (std::uint64_t{0xFF} << static_cast<unsigned>(place)))) |
                   lead << 8U;
            scale = static_cast<std::uint8_t>(15 - place / 8);
        } else if (const auto in_low = points(low); in_low != 0) {
            const int place = std::countr_zero(in_low) / 8 * 8;
            const auto lead = before(low, place);
            low = (low & ~(lead | (std::uint64_t{0xFF} << static_cast<unsigned>(place)))) |
                  lead << 8U | high >> 56U;
            high <<= 8U;
            scale = static_cast<std::uint8_t>(7 - place / 8);
        }
        if (!own::AreDigits(high) || !own::AreDigits(low)) {
            return false;
        }
    }
    const auto unscaled =
        static_cast<std::int64_t>((size <= 8 ? 0 : own::Join(high) * 100'000'000) + own::Join(low));
    number = {minus ? -unscaled : unscaled, scale};
    return true;
}

}  // namespace vantry
