#pragma once
// How names and values stand in the error messages of the drivers.

#include <string>
#include <string_view>

namespace vantry {

// Between apostrophes.
std::string Quoted(std::string_view text);
// Words of a stranger, a server say, for a log, a terminal or a box: without what would steer one
// (escape sequences, other control characters, marks that turn the direction of writing). Line ends
// and tabs stay; ill-formed UTF-8 becomes U+FFFD.
std::string WithoutControls(std::string_view text);
// The same without line ends: a server's words must not look like lines of the log's own.
std::string OnOneLine(std::string_view text);
// A value on one line and of some sixty bytes at most, never cut within a character.
std::string Shown(std::string_view value);

}  // namespace vantry
