#pragma once
// How names and values stand in the error messages of the drivers.

#include <string>
#include <string_view>

namespace vantry {

// Between apostrophes.
std::string Quoted(std::string_view text);
// A value on one line and of some sixty bytes at most, never cut within a character.
std::string Shown(std::string_view value);

}  // namespace vantry
