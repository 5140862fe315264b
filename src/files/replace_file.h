#pragma once
// Puts new content in the place of a small file at one stroke.

#include <string>
#include <string_view>

namespace vantry::file {

// Writes `content` beside `path`, and gives it that name when it is on the disk whole: a failure or
// a killed program leaves the former file as it was. Its permissions are kept, and a symbolic link
// goes on leading to the file. Throws DataError, also when the former file may not be written.
void ReplaceFile(const std::string& path, std::string_view content);

}  // namespace vantry::file
