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

// A driver for connection strings with this Provider word, before all others; a null driver takes
// it away again. For drivers that come from outside the program: in tests, one that fails on
// demand.
void RegisterDriver(const std::string& provider, std::shared_ptr<Driver> driver);

}  // namespace vantry
