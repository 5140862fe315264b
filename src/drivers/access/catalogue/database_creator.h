#pragma once
// Making a new, empty database file: .mdb of Jet 4, .accdb of ACE 14.

#include <string>

namespace vantry::access {

// The kind follows the extension (.accdb or anything else). The file appears whole or not at all,
// with the permissions that the umask leaves. Throws DataError, also when there is a file of that
// name.
void CreateDatabaseFile(const std::string& path);

}  // namespace vantry::access
