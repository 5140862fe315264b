#pragma once
// The check of a whole table: what contradicts the format or itself.

#include <string>
#include <vector>

namespace vantry::foxpro {

// Header, length, records, memos and tags of the table at `path`, in words; empty: nothing. Changes
// nothing. What can't be opened at all is a finding, too.
std::vector<std::string> Verify(const std::string& path);

}  // namespace vantry::foxpro
