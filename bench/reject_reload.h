#pragma once
// A run of many large tables with bad rows, whose list of rejected rows is mended and loaded into a
// second target: both targets together must have what the source has.

#include <cstdint>

namespace vantry::bench {

// `tables` tables with 40 bad rows each, and one with 60, which is given up at its 50th. Prints
// what it found; 0 if all is as it must be.
int ReloadRejects(int tables, std::int64_t rows);

}  // namespace vantry::bench
