#pragma once
// The errors of this driver: the server's own words, numbered by SQLSTATE.

#include "data/data_error.h"

#include <mysql.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace vantry::mysql {

// The last failure on a connection or a statement of it: in the server's words, without what would
// steer a terminal and without the connection's password, should they hold it. When the answer of
// the server is missing, the rows that were sent may have arrived (DataError::ArrivedRows).
DataError ServerError(MYSQL* handle);
DataError StatementError(MYSQL_STMT* statement, MYSQL* handle);

// Words of the server, cleaned like those of an error.
std::string CleanWords(const char* text, const MYSQL* handle);

DataError BadConnectionKey(const std::string& key, const std::string& value);
DataError BadTlsMode(const std::string& mode);
DataError BadServerKey(const std::string& file);
DataError RemarksNotListed(std::int64_t rows);
DataError NoTls();
// `why` nothing proves the server to be the right one.
DataError PasswordNotProtected(const std::string& why);
DataError NoAnswer(std::chrono::seconds limit);
DataError LoginTooLong(std::chrono::seconds limit);
DataError CancelledWait();
// The same of a login, which has sent no statement: it counts as stopped, as such a statement does.
DataError CancelledLogin();
// The server took an INSERT of rows and counts none.
DataError NothingAdded();
// All of `rows` are in their table, some of their values changed: `warnings` says which.
DataError ValuesChanged(const std::string& warnings, std::int64_t rows);
DataError WrongParameterCount(std::size_t wanted, std::size_t given);
DataError StatementTooLong(std::size_t bytes, std::uint64_t most);
DataError NotATableColumn(const std::string& column);
DataError NoColumns();
DataError NotARowStatement();

}  // namespace vantry::mysql
