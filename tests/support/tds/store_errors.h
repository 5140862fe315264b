#pragma once
// SQLite tells errors in words; the server's numbers and texts are made of them.

#include "support/tds/columns.h"

#include <string>
#include <string_view>

namespace vantry::test::tds {

// An error of ours as words that a function of SQLite's can raise.
std::string ErrorInWords(const ServerError& error);
// `sent` is the statement as SQLite got it; `offset` the place in it, -1 where there is none.
ServerError ServersError(std::string_view database,
                         std::string_view sql,
                         std::string_view sent,
                         const std::string& words,
                         int offset);

}  // namespace vantry::test::tds
