#pragma once
// Makes the pages of this folder known by their names (shell/page_set).

namespace vantry {

// Form4, Form5 and MapErrForm.
void RegisterMappingPages();

}  // namespace vantry
