#pragma once
// How a folder and a name become a path.

#include <string>

namespace vantry {

// A folder counts as closed when it ends in "/".
inline std::string JoinPath(const std::string& folder, const std::string& name) {
    return folder.ends_with('/') ? folder + name : folder + "/" + name;
}

}  // namespace vantry
