#pragma once
// MySQL and MariaDB servers over the MariaDB client library: results stream, so that memory doesn't
// grow with a table, and rows go in through prepared statements.
//
// Keys of a connection string, in any letter case: SERVER (SERVERNAME, HOST), PORT, DATABASE (DB),
// USER (UID), PASSWORD (PWD), SOCKET, CONN_TIMEOUT and ANSWER_TIMEOUT (seconds), INITSTMT, OPTION
// (bit 2: counts of matched instead of changed rows). For TLS: SSLMODE (DISABLED, PREFERRED,
// REQUIRED, VERIFY_CA, VERIFY_IDENTITY; the last two are the same here), or in its place FORCETLS
// and SSLVERIFY; SSLCA, SSLCERT, SSLKEY; TLSPEERFP (SHA-1 of the server's certificate); RSAKEY
// (file of the server's public key, for logins outside of TLS). All other keys, CHARSET among them,
// are passed over: text is UTF-8 (utf8mb4) on every connection. The local server is reached by its
// socket, unless the string names another port than 3306.

#include "data/driver.h"

#include <memory>

namespace vantry::mysql {

std::unique_ptr<Driver> MakeMySqlDriver();

}  // namespace vantry::mysql
