#pragma once
// How text compares: without letter case by Unicode's simple folding, or byte by byte; and LIKE.

#include <cstdint>
#include <string_view>
#include <vector>

namespace vantry::sql {

// Below, at or above 0 as `left` sorts before, with or behind `right`.
int CompareIgnoringCase(std::string_view left, std::string_view right);
std::string_view WithoutTrailingBlanks(std::string_view text);
// Equal for texts that compare as equal, also for those that differ in trailing blanks alone.
std::uint64_t HashIgnoringCase(std::string_view text);

// A compiled pattern: % any run, _ one character, and in `sets` mode [abc], [a-f], [!a], [^a] one
// character of or outside a set ([] is nothing). A bracket that isn't closed is a character.
class LikePattern {
public:
    LikePattern(std::string_view pattern, bool sets, bool ignore_case);
    bool Matches(std::string_view text) const;

private:
    struct Range {
        char32_t first;
        char32_t last;
    };
    struct Element {
        enum class Kind : std::uint8_t { Character, AnyCharacter, AnyRun, Set };
        Kind kind = Kind::Character;
        bool negated = false;
        char32_t character = 0;
        std::vector<Range> ranges;
    };

    // Returns where the pattern goes on.
    std::size_t AddSet(std::string_view pattern, std::size_t begin);
    bool MatchesOne(const Element& element, char32_t code_point) const;

    bool ignore_case_;
    std::vector<Element> elements_;
};

}  // namespace vantry::sql
