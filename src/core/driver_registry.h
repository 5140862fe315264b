#pragma once
// Which driver a connection string means. The drivers themselves are linked in here and nowhere
// else.

#include "data/driver.h"

namespace vantry {

// Throws DataError when the string names nothing that is there; the text says what to install or
// mend.
Driver& DriverFor(const ConnectionString& connection);

}  // namespace vantry
