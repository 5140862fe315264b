#pragma once
// The menu entry "Create New Repository...": asks where there is one already, keeps a copy of it.

#include <string>

namespace vantry {

// `folder`: the application folder.
void CreateNewRepository(const std::string& folder);

}  // namespace vantry
