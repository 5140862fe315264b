// In GENERAL a key is the weights of all letters, then those of what is above the letters: accents
// decide where the letters are the same, and letter case never does.

#include "drivers/foxpro/indexes/general_order.h"

#include <algorithm>
#include <array>

namespace vantry::foxpro {
namespace {

// By byte of code page 1252. Measured on keys with and without accents; the figures for letters
// that had no key come from independent libraries.
constexpr std::array<std::uint8_t, 256> kWeights = {
    16,  16,  16,  16,  16,  16,  16,  16,  16,  17,  16,  16,  16,  16,  16,  16,  16,  16,  16,
    16,  16,  16,  16,  16,  16,  16,  16,  16,  16,  16,  16,  16,  17,  18,  19,  20,  21,  22,
    23,  24,  25,  26,  27,  28,  29,  30,  31,  32,  86,  87,  88,  89,  90,  91,  92,  93,  94,
    95,  33,  34,  35,  36,  37,  38,  39,  96,  97,  98,  100, 102, 103, 104, 105, 106, 107, 108,
    109, 111, 112, 114, 115, 116, 117, 118, 119, 120, 122, 123, 124, 125, 126, 40,  41,  42,  43,
    44,  45,  96,  97,  98,  100, 102, 103, 104, 105, 106, 107, 108, 109, 111, 112, 114, 115, 116,
    117, 118, 119, 120, 122, 123, 124, 125, 126, 46,  47,  48,  49,  16,  16,  16,  24,  50,  19,
    51,  52,  53,  54,  55,  118, 24,  0,   16,  16,  16,  16,  24,  24,  19,  19,  56,  30,  30,
    57,  58,  118, 24,  0,   16,  16,  125, 32,  59,  60,  61,  62,  63,  64,  65,  66,  67,  68,
    19,  69,  30,  70,  71,  72,  73,  88,  89,  74,  75,  76,  77,  78,  87,  79,  19,  80,  81,
    82,  83,  96,  96,  96,  96,  96,  96,  0,   98,  102, 102, 102, 102, 106, 106, 106, 106, 101,
    112, 114, 114, 114, 114, 114, 84,  129, 120, 120, 120, 120, 125, 0,   0,   96,  96,  96,  96,
    96,  96,  0,   98,  102, 102, 102, 102, 106, 106, 106, 106, 101, 112, 114, 114, 114, 114, 114,
    85,  129, 120, 120, 120, 120, 125, 0,   125,
};
// Of what is above the letter; -1 where nothing can be.
constexpr std::array<std::int8_t, 256> kAccents = {
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 0,  -1, 0,  -1, 0,  -1, -1,
    -1, 0,  -1, -1, -1, -1, 0,  0,  -1, -1, -1, 0,  -1, 0,  -1, -1, -1, 0,  -1, -1, -1, -1, -1, -1,
    -1, 0,  -1, 0,  -1, 0,  -1, -1, -1, 0,  -1, -1, -1, -1, 0,  0,  -1, -1, -1, 0,  -1, 0,  -1, -1,
    -1, 0,  -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 8,  -1, -1, -1, -1, -1,
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 8,  -1, -1, -1, -1, 4,  1,  -1, -1, -1, -1, -1, -1, -1,
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
    2,  1,  3,  5,  4,  6,  -1, 7,  2,  1,  3,  4,  2,  1,  3,  4,  -1, 5,  2,  1,  3,  5,  4,  -1,
    -1, 2,  1,  3,  4,  1,  -1, -1, 2,  1,  3,  5,  4,  6,  -1, 7,  2,  1,  3,  4,  2,  1,  3,  4,
    -1, 5,  2,  1,  3,  5,  4,  -1, -1, 2,  1,  3,  4,  1,  -1, 4,
};

// Letters that are two.
std::string_view Expanded(unsigned char letter) {
    switch (letter) {
        case 0x8C:
        case 0x9C:
            return "OE";
        case 0xC6:
        case 0xE6:
            return "AE";
        case 0xDE:
        case 0xFE:
            return "TH";
        case 0xDF:
            return "SS";
        default:
            return {};
    }
}

}  // namespace

void GeneralKey(std::string_view text, std::span<std::byte> out) {
    // The padding stands for them: zeros sort before all weights, as blanks should.
    while (!text.empty() && text.back() == ' ') {
        text.remove_suffix(1);
    }
    std::fill(out.begin(), out.end(), std::byte{0});
    std::array<std::byte, 2 * kMaxKeyLength> accents{};
    std::size_t accent_count = 0;
    std::size_t at = 0;
    const auto add = [&](unsigned char letter) {
        if (at < out.size()) {
            out[at++] = std::byte{kWeights[letter]};
        }
        // 0, of a letter that could have an accent, is kept: it holds the place before later
        // accents.
        if (kAccents[letter] >= 0 && accent_count < accents.size()) {
            accents[accent_count++] = static_cast<std::byte>(kAccents[letter]);
        }
    };
    for (const char c : text) {
        const auto letter = static_cast<unsigned char>(c);
        const auto letters = Expanded(letter);
        if (letters.empty()) {
            add(letter);
        }
        for (const char part : letters) {
            add(static_cast<unsigned char>(part));
        }
    }
    // No sign stands between: accents end at 8 and weights begin at 16, so that the accents of a
    // shorter text sort before the next letter of a longer one.
    const std::size_t room = std::min(out.size() - at, accent_count);
    std::copy_n(accents.begin(), room, out.begin() + static_cast<std::ptrdiff_t>(at));
}

}  // namespace vantry::foxpro
