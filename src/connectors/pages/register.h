#pragma once
// Makers for the pages of this folder.

namespace vantry {

// The source and target pages of the kinds of database.
void RegisterConnectorPages();

}  // namespace vantry
