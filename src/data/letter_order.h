#pragma once
// Where a letter stands in the alphabet: é with e, Cyrillic ё with е, Greek α before β.

#include <cstdint>

namespace vantry {

// The place of a case-folded character. Characters of one place are letters that differ in accents
// alone (ligatures stand with their first letter). ASCII keeps the order of its codes; letters and
// digits of other blocks stand among those of ASCII, or behind z, by the root order of Unicode.
// Then come signs, and at last what has no such order (Han, Hangul, private characters), by code
// point.
std::uint64_t LetterPlace(char32_t folded);

}  // namespace vantry
