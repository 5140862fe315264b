#pragma once
// Names of files: files from Windows are spelled in any letter case.

#include <string>
#include <string_view>

namespace vantry::file {

// `path` if there is such a file, else the path of a file of the same folder whose name differs in
// letter case only (the first in byte order), else `path` again.
std::string ResolveFileName(std::string_view path);

// Whether a name from data can be a file name inside a folder: not empty, no "/", no NUL, neither
// "." nor "..".
bool IsPlainFileName(std::string_view name);

}  // namespace vantry::file
