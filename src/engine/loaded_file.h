#pragma once
// Renames a polled file once it is loaded, so that it isn't loaded twice.

#include "core/session_state.h"

#include <string>

namespace vantry {

// What is added to the name: how it was loaded and when.
std::string LoadedEnding();

// `name` as it stands in SrcTables; the file is that of PollFolder. -1 on success; a failure is
// shown in a box and gives 0.
i16 MoveLoadedFile(const std::string& name);

}  // namespace vantry
