#pragma once
// Making a new, empty database file: .mdb of Jet 4, .accdb of ACE 14.

#include <string>

namespace vantry::access {

// The kind follows the extension (.accdb or anything else), unless it must be one that the Jet
// provider knows. The file appears whole or not at all, readable by its owner alone. Throws
// DataError, also when there is a file of that name.
void CreateDatabaseFile(const std::string& path, bool jet_only = false);

}  // namespace vantry::access
