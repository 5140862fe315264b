#pragma once
// Letter case of names and of words from the user, character by character (no "ß" to "SS"): by the
// platform's Unicode tables, whatever the locale.

#include <string>
#include <string_view>

namespace vantry {

std::string UpperCased(std::string_view utf8);
std::string LowerCased(std::string_view utf8);
// Without the blanks at both ends.
std::string_view Trimmed(std::string_view text);
// Equal once upper-cased and trimmed: how table names are compared with a catalogue's.
bool SameName(std::string_view left, std::string_view right);

}  // namespace vantry
