#pragma once
// INSERT statements of many rows, and how many of these are in the table when one fails.

#include "drivers/mysql/session.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vantry::mysql {

// The name of the table, as it stands between the quotes of "INSERT INTO `name` ..."; empty for all
// other statements.
std::string TargetOfInsert(std::string_view sql);

// Runs it on the idle connection; returns the rows added. Throws DataError, whose ArrivedRows says
// what is known of the rows: a table without transactions keeps those before the one that was
// refused.
std::int64_t InsertRows(Session& session, const std::string& table, std::string_view sql);

}  // namespace vantry::mysql
