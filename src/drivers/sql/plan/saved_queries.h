#pragma once
// The saved queries that a statement names. Their texts are parsed here and kept, because the plan
// refers to them; a query that ends in itself, or in too many others, is refused.

#include "drivers/sql/parse/syntax.h"
#include "drivers/sql/plan/statement_state.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::sql {

class SavedQueries {
public:
    explicit SavedQueries(StatementState& state) : state_(state) {}

    // Its SELECT, to be planned before Close(). Throws NoSuchTable if there is no query of that
    // name, ViewCycle while the query of that name is open.
    const Select& Open(std::string_view name);
    void Close() { open_.pop_back(); }
    // What went wrong with the query of that name, in words that name it: its text isn't before the
    // user. Access's own words name none.
    DataError Explained(std::string_view name, const DataError& error) const;

private:
    StatementState& state_;
    std::vector<std::unique_ptr<ParsedStatement>> parsed_;
    std::vector<std::string> open_;
};

}  // namespace vantry::sql
