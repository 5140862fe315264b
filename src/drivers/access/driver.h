#pragma once
// The driver of Access database files, in one piece: nothing has to be installed for it.
//
// Connection strings: the Jet and ACE providers ("Data Source", "Jet OLEDB:Database Password") and
// the built-in ODBC name ("DBQ", "PWD"). A system database and user names are accepted and not
// needed: workgroup permissions don't keep anybody from reading a file.

#include "data/driver.h"

#include <memory>

namespace vantry::access {

std::unique_ptr<Driver> MakeAccessDriver();

}  // namespace vantry::access
