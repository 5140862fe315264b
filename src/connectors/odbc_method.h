#pragma once
// The source that takes any ODBC data source: its string, and which kind its driver speaks for.

#include <string>
#include <string_view>

namespace vantry {

std::string OdbcSourceString(const std::string& dsn,
                             const std::string& user,
                             const std::string& password);

// The kind whose word stands in a driver's name, letter case aside; empty without one. The session
// is then one of that kind, types and quotes included.
std::string_view KindOfDriver(std::string_view driver);

}  // namespace vantry
