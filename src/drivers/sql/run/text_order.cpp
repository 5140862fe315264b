// How text compares where letter case doesn't count. Most texts are ASCII and differ early: bytes
// are compared until they differ outside it, and only from that character on by letters and
// accents. Easy to get wrong: both roads must give one order, or sorting would never end (so
// LetterPlace keeps the codes of ASCII); order and equality must agree with the hash that joins
// use, or a join loses rows; the pattern of Like is worked through without recursion, because a
// user's "%a%a%a%" would take ages.

#include "drivers/sql/run/text_order.h"

#include "data/letter_case.h"
#include "data/letter_order.h"
#include "data/utf.h"

#include <algorithm>

namespace vantry::sql {
namespace {

char32_t Decode(std::string_view text, std::size_t& position) {
    const auto first = static_cast<unsigned char>(text[position]);
    if (first < 0x80) {
        ++position;
        return first;
    }
    return NextCodePoint(text, position);
}

// By letters first, and where those are the same by accents, from a place on up to which both are
// alike: "emile" < "émile" < "emily".
int CompareFoldedFrom(std::string_view left, std::string_view right, std::size_t begin) {
    auto i = begin;
    auto j = begin;
    int accents = 0;
    while (i < left.size() && j < right.size()) {
        const auto a = FoldedCase(Decode(left, i));
        const auto b = FoldedCase(Decode(right, j));
        if (a == b) {
            continue;
        }
        const auto place_a = LetterPlace(a);
        const auto place_b = LetterPlace(b);
        if (place_a != place_b) {
            return place_a < place_b ? -1 : 1;
        }
        if (accents == 0) {
            accents = a < b ? -1 : 1;
        }
    }
    return i < left.size() ? 1 : j < right.size() ? -1 : accents;
}

}  // namespace

int CompareIgnoringCase(std::string_view left, std::string_view right) {
    const auto common = std::min(left.size(), right.size());
    for (std::size_t k = 0; k < common; ++k) {
        const auto a = static_cast<unsigned char>(left[k]);
        const auto b = static_cast<unsigned char>(right[k]);
        if (a == b) {
            continue;
        }
        if ((a | b) >= 0x80) {
            while (k > 0 && (static_cast<unsigned char>(left[k]) & 0xC0) == 0x80) {
                --k;  // to the beginning of the character
            }
            return CompareFoldedFrom(left, right, k);
        }
        const char folded_a = LowerCase(left[k]);
        const char folded_b = LowerCase(right[k]);
        if (folded_a != folded_b) {
            return folded_a < folded_b ? -1 : 1;
        }
    }
    return left.size() == right.size() ? 0 : left.size() < right.size() ? -1 : 1;
}

std::string_view WithoutTrailingBlanks(std::string_view text) {
    while (!text.empty() && text.back() == ' ') {
        text.remove_suffix(1);
    }
    return text;
}

std::uint64_t HashIgnoringCase(std::string_view text) {
    std::uint64_t hash = 0xcbf29ce484222325;
    const auto trimmed = WithoutTrailingBlanks(text);
    for (std::size_t k = 0; k < trimmed.size();) {
        hash ^= FoldedCase(Decode(trimmed, k));
        hash *= 0x100000001b3;
    }
    return hash;
}

LikePattern::LikePattern(std::string_view pattern, bool sets, bool ignore_case)
    : ignore_case_(ignore_case) {
    for (std::size_t k = 0; k < pattern.size();) {
        const char c = pattern[k];
        if (sets && c == '[') {
            const auto end = AddSet(pattern, k + 1);
            if (end != std::string_view::npos) {
                k = end;
                continue;
            }
        }
        Element element;
        if (c == '%') {
            element.kind = Element::Kind::AnyRun;
            ++k;
        } else if (c == '_') {
            element.kind = Element::Kind::AnyCharacter;
            ++k;
        } else {
            element.character = Decode(pattern, k);
            if (ignore_case_) {
                element.character = FoldedCase(element.character);
            }
        }
        const bool repeated = element.kind == Element::Kind::AnyRun && !elements_.empty() &&
                              elements_.back().kind == Element::Kind::AnyRun;
        if (!repeated) {
            elements_.push_back(std::move(element));
        }
    }
}

// Returns the position behind the set's bracket, or npos if there is none.
std::size_t LikePattern::AddSet(std::string_view pattern, std::size_t begin) {
    const auto end = pattern.find(']', begin);
    if (end == std::string_view::npos) {
        return end;
    }
    auto inside = pattern.substr(begin, end - begin);
    if (inside.empty()) {
        return end + 1;
    }
    Element element;
    element.kind = Element::Kind::Set;
    if (inside.size() > 1 && (inside.front() == '!' || inside.front() == '^')) {
        element.negated = true;
        inside.remove_prefix(1);
    }
    for (std::size_t k = 0; k < inside.size();) {
        const auto first = Decode(inside, k);
        auto last = first;
        if (k + 1 < inside.size() && inside[k] == '-') {
            ++k;
            last = Decode(inside, k);
        }
        element.ranges.push_back({first, last});
    }
    elements_.push_back(std::move(element));
    return end + 1;
}

bool LikePattern::MatchesOne(const Element& element, char32_t code_point) const {
    switch (element.kind) {
        case Element::Kind::Character:
            return element.character == (ignore_case_ ? FoldedCase(code_point) : code_point);
        case Element::Kind::AnyCharacter:
            return true;
        case Element::Kind::AnyRun:
            return false;
        case Element::Kind::Set:
            break;
    }
    const auto folded = ignore_case_ ? FoldedCase(code_point) : code_point;
    const bool found =
        std::any_of(element.ranges.begin(), element.ranges.end(), [&](const Range& range) {
            return (code_point >= range.first && code_point <= range.last) ||
                   (ignore_case_ && folded >= FoldedCase(range.first) &&
                    folded <= FoldedCase(range.last));
        });
    return found != element.negated;
}

// Runs of any length are tried from the last one back: when what follows it fails, it takes one
// character more. Time is at most text length times pattern length.
bool LikePattern::Matches(std::string_view text) const {
    std::size_t position = 0;
    std::size_t element = 0;
    std::size_t run_element = elements_.size();
    std::size_t run_position = 0;
    while (position < text.size()) {
        auto next = position;
        const auto code_point = Decode(text, next);
        if (element < elements_.size() && elements_[element].kind == Element::Kind::AnyRun) {
            run_element = element++;
            run_position = position;
        } else if (element < elements_.size() && MatchesOne(elements_[element], code_point)) {
            ++element;
            position = next;
        } else if (run_element < elements_.size()) {
            Decode(text, run_position);
            position = run_position;
            element = run_element + 1;
        } else {
            return false;
        }
    }
    while (element < elements_.size() && elements_[element].kind == Element::Kind::AnyRun) {
        ++element;
    }
    return element == elements_.size();
}

}  // namespace vantry::sql
