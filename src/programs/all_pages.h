#pragma once
// Every page that there is, in one call: for the wizard, and for tests that walk through all of it.

#include <string>

namespace vantry {

void RegisterAllPages();

// The start-up of the wizard: paths and constants from the folder, then the splash window. A
// failure is told with Retry and Cancel; Cancel ends the program.
void StartWizard(const std::string& application_folder);

}  // namespace vantry
