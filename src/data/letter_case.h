#pragma once
// Letter case of names and of words from the user by the Unicode library's tables, character by
// character (no "ß" to "SS", so that a text keeps its length), whatever the locale. Letters of
// ASCII alone are ascii.h's.

#include "data/ascii.h"

#include <string>
#include <string_view>

namespace vantry {

std::string UpperCased(std::string_view utf8);
std::string LowerCased(std::string_view utf8);
// What all letter cases of a character have in common: both small sigmas and the capital one.
char32_t FoldedCase(char32_t code_point);
// Equal once upper-cased and trimmed: how table names are compared with a catalogue's.
bool SameName(std::string_view left, std::string_view right);

}  // namespace vantry
