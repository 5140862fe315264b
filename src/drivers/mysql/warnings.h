#pragma once
// What a server remarks on rows that it has taken.

#include <cstdint>
#include <set>
#include <string>

namespace vantry::mysql {

class Session;

class Warnings {
public:
    // To be called behind a statement that added or changed `rows` rows and left remarks, before
    // the next one. Throws DataError if they say that a value is another one in the table: for
    // every statement if it was made to fit, once for each column if only digits behind its last
    // decimal or blanks at its end were lost.
    void RequireUnchanged(Session& session, std::int64_t rows);

private:
    std::set<std::string> told_;  // what was lost in columns, without the row
};

}  // namespace vantry::mysql
