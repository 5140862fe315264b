#include "drivers/odbc/block_rules.h"

#include "data/connection_string.h"

#include <algorithm>
#include <iterator>

namespace vantry::odbc {
namespace {

struct Rule {
    std::string_view word;  // of the library's name
    Blocks blocks;
};

constexpr Rule kRules[] = {
    // FreeTDS 1.3.17 sends one message with a call for each row, under autocommit; each refused row
    // has its status and its records by number.
    {"tdsodbc", Blocks::EachRow},
    // PostgreSQL's 13.02 sends one text with a statement for each row, which the server runs as one
    // transaction; every row of a refused block has the status of an error. How many rows go into
    // one text is a setting (BatchSize), so the transaction must be ours.
    {"psqlodbc", Blocks::AllOrNothing},
    // SQLite's 0.9998 runs row after row and counts those before the refused one.
    {"sqlite3odbc", Blocks::StopsAtFirst},
    // MariaDB's 3.1.15 sends a block as one command. Of a refused one it says nothing, and a table
    // without transactions keeps rows that nobody can count.
    {"maodbc", Blocks::None},
};

}  // namespace

Blocks BlocksOf(std::string_view library) {
    const auto* rule = std::find_if(std::begin(kRules), std::end(kRules), [&](const Rule& one) {
        return ContainsNoCase(library, one.word);
    });
    return rule == std::end(kRules) ? Blocks::None : rule->blocks;
}

}  // namespace vantry::odbc
