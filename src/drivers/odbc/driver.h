#pragma once
// Data sources behind the ODBC driver manager: any installed driver or DSN, and the OLE DB
// providers of sessions for SQL Server and Oracle, for which an installed driver of their kind
// stands in.

#include "data/driver.h"

#include <cstddef>
#include <memory>

namespace vantry::odbc {

// How rows and long values travel. Other numbers are for tests: the result must not depend on them.
struct Tuning {
    std::size_t block_rows = 100;          // fetched by one call at most
    std::size_t block_bytes = 1 << 20;     // of one block; wide rows come in smaller blocks
    std::size_t sent_rows = 50;            // by one execution at most, where a driver can
    std::size_t bound_bytes = 16'384;      // columns of wider values are read in pieces
    std::size_t piece_bytes = 65'536;      // of a long value, in both directions
    bool utf16_text = false;               // also with drivers whose bytes are UTF-8
    std::size_t character_bytes = 4;       // room for one character of a bound text in UTF-8
    bool one_statement_at_a_time = false;  // treat every driver as one that has only one
};

std::unique_ptr<Driver> MakeOdbcDriver(const Tuning& tuning = {});

}  // namespace vantry::odbc
