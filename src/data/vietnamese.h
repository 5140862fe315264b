#pragma once
// Code page 1258 writes most accented letters of Vietnamese as a letter and a tone mark behind it;
// all other text, ours too, has one character for both.

#include <cstddef>
#include <string>

namespace vantry {

// Puts letters and marks of `text` together, from `begin` on.
void ComposeVietnamese(std::string& text, std::size_t begin);
// A letter in the parts that the code page has: the letter with its hat or horn, and the tone mark.
// Empty if it has no tone mark.
std::string VietnameseParts(char32_t code_point);

}  // namespace vantry
