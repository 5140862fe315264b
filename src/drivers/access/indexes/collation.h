#pragma once
// Text as bytes that sort: the "General" collation of Access databases in its two versions. Letter
// case makes no difference; accents only break ties. Byte for byte what the engine itself writes,
// so that its own indexes stay right.

#include "drivers/access/pages/file_header.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace vantry::access {

// The source form of the weights; see collation.cpp.
extern const char* const kGeneralLegacyWeights;
extern const char* const kGeneralWeights;

class Collation {
public:
    // Null for a sort order whose weights aren't known.
    static const Collation* For(SortOrder order);

    // Appends the key of a text, its flag byte not included. False, with nothing appended, if the
    // text has a character whose weight isn't known.
    bool AppendKey(std::u16string_view text, bool ascending, std::vector<std::byte>& key) const;

private:
    enum class Kind : std::uint8_t {
        Unknown,
        Ignored,
        Plain,
        Accent,
        Hidden,
        Modifier,
        Kana1,
        Kana2
    };

    struct Weight {
        char16_t first = 0;
        char16_t last = 0;
        Kind kind = Kind::Unknown;
        bool step = false;  // the inline value grows by one a character
        std::uint8_t inline_size = 0;
        std::uint8_t extra_size = 0;
        std::uint64_t inline_value = 0;  // big-endian in the key
        std::uint16_t extra = 0;         // likewise
    };

    explicit Collation(const char* weights);
    const Weight* Find(char16_t unit) const;

    friend class CollationKey;
    std::vector<Weight> weights_;  // ascending
    static constexpr std::size_t kDirect = 256;
    const Weight* direct_[kDirect] = {};
};

}  // namespace vantry::access
