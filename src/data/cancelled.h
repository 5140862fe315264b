#pragma once
// The number of an error that is the user's own doing: the statement was stopped because of a
// cancel (data/answer_watch). It is no failure of the statement, and none of the row that it
// carried: who counts and logs errors leaves it out. Whether rows arrived all the same is told as
// for any error (DataError::ArrivedRows).

#include "data/data_error.h"

#include <exception>

namespace vantry {

inline constexpr int kErrCancelled = -2147217842;  // 0x80040E4E

inline bool IsCancelled(const std::exception& error) {
    const auto* const data_error = dynamic_cast<const DataError*>(&error);
    return data_error != nullptr && data_error->Number() == kErrCancelled;
}

}  // namespace vantry
