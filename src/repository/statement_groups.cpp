#include "repository/statement_groups.h"

#include <utility>

namespace vantry {
namespace {

// Other programs wait for the repository as long.
constexpr std::chrono::milliseconds kLongestGroup{200};

}  // namespace

void StatementGroups::Execute(std::string statement) {
    if (open_.empty()) {
        connection_.Execute("BEGIN TRANSACTION");
        begun_ = std::chrono::steady_clock::now();
    }
    open_.push_back(std::move(statement));
    try {
        connection_.Execute(open_.back());
        if (std::chrono::steady_clock::now() - begun_ > kLongestGroup) {
            Commit();
        }
    } catch (const DataError&) {
        OneByOne();
    }
}

void StatementGroups::Finish() {
    if (open_.empty()) {
        return;
    }
    try {
        Commit();
    } catch (const DataError&) {
        OneByOne();
    }
}

void StatementGroups::Commit() {
    connection_.Execute("COMMIT TRANSACTION");
    open_.clear();
}

// Takes the group back and does it again without a transaction, up to the statement that fails: so
// that those before it stay.
void StatementGroups::OneByOne() {
    const auto statements = std::exchange(open_, {});
    try {
        connection_.Execute("ROLLBACK TRANSACTION");
    } catch (const DataError&) {
        // A commit that failed has taken it back itself.
    }
    for (const auto& statement : statements) {
        connection_.Execute(statement);
    }
}

}  // namespace vantry
