// The library's collator compares whole texts, and in its order: that of ASCII punctuation would be
// another one than ever, and a comparison takes a microsecond. So only its weights of single
// characters are taken, once, for the blocks that have alphabets; a comparison stays a walk over
// two texts. What that leaves out are contractions (Czech "ch", Spanish "ll" in its old order),
// which depend on the language anyhow.

#include "data/letter_order.h"

#include "data/data_error.h"

#include <unicode/ucol.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>
#include <vector>

namespace vantry {
namespace {

constexpr char32_t kFirst = 0x80;
constexpr char32_t kAlphabetsEnd = 0x3400;  // Han, Yi, Hangul, private use follow
constexpr char32_t kFormsBegin = 0xF900;    // forms of letters: ligatures, wide and narrow ones
constexpr char32_t kFormsEnd = 0x10000;
// A place is a character of ASCII, or one of these two, high, and a weight behind it low.
constexpr char32_t kSymbols = 0x80;
constexpr char32_t kWithoutOrder = 0x81;
constexpr std::uint64_t PlaceOf(char32_t high, std::uint32_t low) {
    return std::uint64_t{high} << 32 | low;
}

// The first weights of a character, at most four bytes; 0 for what the order passes over.
std::uint32_t WeightOf(const UCollator* collator, char16_t unit) {
    std::array<std::uint8_t, 32> key{};
    const auto size =
        ucol_getSortKey(collator, &unit, 1, key.data(), static_cast<std::int32_t>(key.size()));
    std::uint32_t weight = 0;
    for (std::size_t k = 0; k < 4; ++k) {
        weight = weight << 8 | (static_cast<std::int32_t>(k) + 1 < size ? key[k] : 0U);
    }
    return weight;
}

// Whether `weight` begins with the bytes of `start` that aren't 0: the weights of an accented
// letter or a ligature begin with those of its letter.
bool BeginsWith(std::uint32_t weight, std::uint32_t start) {
    std::uint32_t mask = 0xFFFFFFFF;
    while (mask != 0 && (start & ~(mask << 8)) == 0) {
        mask <<= 8;
    }
    return mask != 0 && (weight & mask) == start;
}

std::vector<std::uint64_t> MakePlaces() {
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<UCollator, decltype(&ucol_close)> collator(ucol_open("", &error),
                                                                     ucol_close);
    if (U_SUCCESS(error) == 0) {
        throw DataError(kErrUnspecified,
                        "The order of letters can't be read: the data of the Unicode library (ICU) "
                        "is missing. Install it again.");
    }
    ucol_setStrength(collator.get(), UCOL_PRIMARY);
    std::vector<std::pair<std::uint32_t, char>> ascii;  // ascending
    for (const char letter : std::string_view("0123456789abcdefghijklmnopqrstuvwxyz")) {
        ascii.emplace_back(WeightOf(collator.get(), static_cast<char16_t>(letter)), letter);
    }
    const auto place_of_weight = [&](std::uint32_t weight) {
        const auto behind = std::upper_bound(
            ascii.begin(), ascii.end(), weight, [](std::uint32_t w, const auto& entry) {
                return w < entry.first;
            });
        if (behind == ascii.begin()) {
            return PlaceOf(kSymbols, weight);
        }
        const auto& [start, letter] = *std::prev(behind);
        return PlaceOf(static_cast<unsigned char>(letter), BeginsWith(weight, start) ? 0 : weight);
    };
    // Half a megabyte and some milliseconds, at the first comparison beyond ASCII.
    std::vector<std::uint64_t> places(kFormsEnd - kFirst);
    for (char32_t c = kFirst; c < kFormsEnd; ++c) {
        auto& place = places[c - kFirst];
        if (c >= kAlphabetsEnd && c < kFormsBegin) {
            place = PlaceOf(kWithoutOrder, c);
            continue;
        }
        const std::uint32_t weight = WeightOf(collator.get(), static_cast<char16_t>(c));
        place = weight == 0 ? PlaceOf(kWithoutOrder, c) : place_of_weight(weight);
    }
    return places;
}

}  // namespace

std::uint64_t LetterPlace(char32_t folded) {
    if (folded < kFirst) {
        return PlaceOf(folded, 0);
    }
    static const std::vector<std::uint64_t> places = MakePlaces();
    return folded < kFormsEnd ? places[folded - kFirst] : PlaceOf(kWithoutOrder, folded);
}

}  // namespace vantry
