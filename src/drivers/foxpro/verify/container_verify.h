#pragma once
// The check of a whole container: its objects, and the tables that it lists.

#include <string>
#include <vector>

namespace vantry::foxpro {

// What contradicts the format, or container and tables each other, in words with record or table;
// empty: nothing. Changes nothing.
std::vector<std::string> VerifyContainer(const std::string& path);

}  // namespace vantry::foxpro
