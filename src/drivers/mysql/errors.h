#pragma once
// The errors of this driver: the server's own words, numbered by SQLSTATE.

#include "data/data_error.h"

#include <mysql.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace vantry::mysql {

// The last failure on a connection or a statement.
DataError ServerError(MYSQL* handle);
DataError StatementError(MYSQL_STMT* statement);

DataError BadConnectionKey(const std::string& key, const std::string& value);
DataError NoTls();
DataError WrongParameterCount(std::size_t wanted, std::size_t given);
DataError StatementTooLong(std::size_t bytes, std::uint64_t most);
DataError NotATableColumn(const std::string& column);
DataError NoColumns();
DataError NotARowStatement();

}  // namespace vantry::mysql
