#pragma once
// Which driver a connection string means. The drivers themselves are linked in here and nowhere
// else.

#include "data/driver.h"

#include <memory>
#include <string>

namespace vantry {

// Throws DataError when the string names nothing that is there; the text says what to install or
// mend.
Driver& DriverFor(const ConnectionString& connection);

// The string with all that its data source says, where an engine of ours is the driver: the driver
// manager has no library for those. What the string says itself counts more. Any other string stays
// as it is.
ConnectionString WithDataSource(const ConnectionString& connection);

// A driver for connection strings with this Provider word, before all others; a null driver takes
// it away again. For drivers that come from outside the program: in tests, one that fails on
// demand.
void RegisterDriver(const std::string& provider, std::shared_ptr<Driver> driver);

}  // namespace vantry
