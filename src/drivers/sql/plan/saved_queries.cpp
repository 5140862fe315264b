// A saved query in FROM is parsed where it is met. "Open" means that its statement is being
// planned: whatever it names meanwhile is inside it, and must not be itself.

#include "drivers/sql/plan/saved_queries.h"

#include "data/letter_case.h"
#include "drivers/sql/parse/parser.h"

#include <algorithm>

namespace vantry::sql {
namespace {

constexpr std::size_t kMaxOpen = 16;
// A query that names two others twice, each of which does the same, would double at each level.
constexpr std::size_t kMaxInAll = 200;

}  // namespace

const Select& SavedQueries::Open(std::string_view name) {
    const auto text = state_.database.ViewText(name);
    if (!text) {
        throw NoSuchTable(state_.dialect.engine_name, name);
    }
    const auto is_name = [&](const std::string& open) { return SameName(open, name); };
    if (std::any_of(open_.begin(), open_.end(), is_name)) {
        throw ViewCycle(name);
    }
    if (open_.size() >= kMaxOpen || parsed_.size() >= kMaxInAll) {
        throw TooComplex();
    }
    parsed_.push_back(
        std::make_unique<ParsedStatement>(ParseStatement(*text, state_.dialect.kind)));
    const auto& statement = *parsed_.back();
    const auto* select = std::get_if<Select>(&statement.content);
    if (select == nullptr) {
        throw NotSupported("The saved query '" + std::string(name) + "', which gives no rows,");
    }
    if (statement.parameter_count > 0) {
        throw NoSuchColumn();
    }
    open_.emplace_back(name);
    return *select;
}

DataError SavedQueries::Explained(std::string_view name, const DataError& error) const {
    const bool there = !open_.empty() && SameName(open_.back(), name);
    const bool parsed = there || error.Number() != kErrNoSuchTable;
    if (state_.dialect.kind != Dialect::Kind::FoxPro || !parsed) {
        return error;
    }
    return {error.Number(),
            "The view '" + std::string(name) + "' can't be run here: " + error.Description(),
            error.Source()};
}

}  // namespace vantry::sql
