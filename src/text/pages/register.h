#pragma once
// Makes the pages of this folder known by their names (shell/page_set).

namespace vantry {

// Form11, Form11Poll and Form12c.
void RegisterTextPages();

}  // namespace vantry
