#pragma once
// Many statements that change the repository, a few at a time in a transaction: each alone would
// wait for the disk four times. What a failure leaves is the same: all statements before the one
// that failed are kept. A kill loses those of the last fifth of a second, too.

#include "core/data_access.h"

#include <chrono>
#include <string>
#include <vector>

namespace vantry {

class StatementGroups {
public:
    // The connection outlives it.
    explicit StatementGroups(Connection& connection) : connection_(connection) {}

    // Throws DataError: the statement's own, or that of one before it.
    void Execute(std::string statement);
    // Behind the last one. Without it the last group is lost.
    void Finish();

private:
    void Commit();
    void OneByOne();

    Connection& connection_;
    std::vector<std::string> open_;  // those of the open transaction
    std::chrono::steady_clock::time_point begun_;
};

}  // namespace vantry
