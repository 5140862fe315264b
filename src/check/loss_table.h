#pragma once
// What each kind of source loses in a new table of each kind of target, type by type: the table of
// the help, and its summary of the README, made of the same judges as a check.

#include <string>

namespace vantry {

// Sets the session's variables; both are for a program that does nothing else.
std::string LossesAsHtml();      // sections and tables, for the help's page
std::string LossesAsMarkdown();  // a line a source, a column a target

}  // namespace vantry
