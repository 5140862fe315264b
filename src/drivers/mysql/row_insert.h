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

// An INSERT between its sending and the server's answer. Both calls throw DataError, whose
// ArrivedRows says what is known of the rows: a table without transactions keeps those before the
// one that was refused.
class RowInsert {
public:
    // Sends it on the idle connection.
    RowInsert(Session& session, std::string table, std::string_view sql);
    // Waits for the answer; returns the rows added. Until then the connection has no other use.
    std::int64_t Finish();

private:
    [[noreturn]] void Refuse();

    Session& session_;
    std::string table_;
    bool has_rows_;  // in its text, so that one of them at least must be added
};

}  // namespace vantry::mysql
