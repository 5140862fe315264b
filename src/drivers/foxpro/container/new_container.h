#pragma once
// Makes an empty database container: .dbc, .dct and .dcx.

#include <string>

namespace vantry::foxpro {

// Throws DataError, leaving nothing behind, if one of the files is there or can't be written, or
// FoxPro has no mark for the code page.
void CreateContainer(const std::string& path, int code_page);

}  // namespace vantry::foxpro
