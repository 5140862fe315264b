#pragma once

namespace vantry {

// The source and target pages of the kinds of database.
void RegisterConnectorPages();

}  // namespace vantry
