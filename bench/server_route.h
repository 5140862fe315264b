#pragma once
// Rows into a server that is some way away: a session of ours against a plain loop of single
// prepared inserts, through a relay that holds every piece back for a millisecond each way.

#include <cstdint>
#include <string>
#include <string_view>

namespace vantry::bench {

// "csv-mssql": the tests' stand-in for SQL Server, through FreeTDS. "csv-odbc": a private
// PostgreSQL, through its ODBC driver.
bool IsServerRoute(std::string_view name);
// Prints one line with the delay and one without: seconds of both, the loop's time by ours, and
// each side's statements and round trips per 1,000 rows. Throws std::runtime_error when a row is
// missing.
void MeasureServerRoute(const std::string& name, std::int64_t rows);

}  // namespace vantry::bench
