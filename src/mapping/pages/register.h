#pragma once
// Makers for the pages of this folder.

namespace vantry {

// Form4, Form5 and MapErrForm.
void RegisterMappingPages();

}  // namespace vantry
