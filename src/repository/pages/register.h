#pragma once
// Makers for the pages of this folder.

namespace vantry {

// Form13.
void RegisterRepositoryPages();

}  // namespace vantry
