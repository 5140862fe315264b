#pragma once
// Makes the pages of this folder known by their names (shell/page_set).

namespace vantry {

// The source and target pages of the kinds of database.
void RegisterConnectorPages();

}  // namespace vantry
