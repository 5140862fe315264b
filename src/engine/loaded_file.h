#pragma once
// Renames a polled file once it is loaded, so that it isn't loaded twice.

#include "core/session_state.h"

#include <functional>
#include <string>

namespace vantry {

// What is added to the name: how it was loaded and when.
std::string LoadedEnding();

// Called between the load of a file and its rename, so that a program that is killed in between
// knows afterwards. Empty where nothing is noted.
extern std::function<void()> BeforeLoadedRename;

// `name` as it stands in SrcTables; the file is that of PollFolder. -1 on success; a failure is
// shown in a box and gives 0.
i16 MoveLoadedFile(const std::string& name);

}  // namespace vantry
