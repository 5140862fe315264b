#pragma once
// What each character of the basic plane means in a text key: bytes that sort, bytes that only
// break ties, or nothing. Tables of the two General sort orders, small in the program and in
// memory.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace vantry::access {

enum class WeightKind : std::uint8_t {
    Ignored,   // leaves no trace in a key
    Plain,     // inline bytes alone
    Accent,    // inline bytes and an accent's, which only break ties
    Hidden,    // no inline bytes: a place and an extra byte behind everything else
    Modifier,  // no inline bytes: changes the accent of the character before it
    Kana1,     // as Accent, and one of two marks by which the kinds of kana differ
    Kana2,
};

// What one character gives to a key.
struct Weight {
    std::uint64_t inline_value = 0;  // its low bytes, the most significant first in the key
    std::uint32_t extra = 0;         // likewise
    WeightKind kind = WeightKind::Ignored;
    std::uint8_t inline_size = 0;  // bytes, 0 to 8
    std::uint8_t extra_size = 0;   // bytes, 0 to 3
};

// ---- The form of the tables in the program, see scripts/make_collation_data

enum class WeightGrowth : std::uint8_t {
    Constant,  // all characters of a run are alike
    Step,      // the inline value grows by one a character
    Cycle,     // extra values come round; the inline value grows by one a round
};
// What many runs have in common.
struct WeightShape {
    WeightKind kind;
    WeightGrowth growth;
    std::uint8_t inline_size;
    std::uint8_t extra_size;
};
struct WeightCycle {
    std::uint8_t period;
    std::array<std::uint8_t, 8> extras;  // 0: none
};
extern const WeightShape kWeightShapes[];
extern const std::size_t kWeightShapeCount;
extern const WeightCycle kWeightCycles[];
extern const std::size_t kWeightCycleCount;
extern const std::string_view kGeneralLegacyWeights;
extern const std::string_view kGeneralWeights;

// One sort order, unpacked. Immutable, so that threads may share it.
class CollationWeights {
public:
    // Throws std::logic_error for a text that make_collation_data didn't write.
    explicit CollationWeights(std::string_view table);

    // Of any unit but a surrogate. `scratch` is where a weight is put together that isn't there as
    // a whole.
    const Weight& Of(char16_t unit, Weight& scratch) const {
        if (unit < kDirect) {
            return direct_[unit];
        }
        scratch = Find(unit);
        return scratch;
    }

private:
    static constexpr std::size_t kDirect = 256;  // characters that are looked up without a search
    struct Run {
        std::uint16_t inline_value;  // of the first character; a position in wide_ where it is wide
        std::uint8_t extra;          // likewise; of a cycle its number
        std::uint8_t shape;
    };

    Weight Find(char16_t unit) const;

    // Runs cover the whole plane: one reaches to the next. Apart, as a search needs the first
    // alone.
    std::vector<char16_t> first_;
    std::vector<Run> runs_;
    std::vector<std::uint64_t> wide_;         // inline values of more than two bytes
    std::vector<std::uint32_t> wide_extras_;  // extra values of more than one byte
    std::array<Weight, kDirect> direct_;
};

}  // namespace vantry::access
