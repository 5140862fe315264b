#pragma once
// Work that may take long, a connect above all, done by a thread of its own while the caller waits:
// the windows stay painted, nothing takes input, and Esc gives the work up at once. Work that was
// given up goes on until it is ready or fails; what it holds is then released by its own thread, so
// it may touch nothing but what it was given.

#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace vantry {

// Runs `work` and returns when it has ended, with what it threw. Its argument says between two of
// its steps whether it has been given up; the caller then gets a DataError that says so.
void RunInBackground(std::function<void(const std::function<bool()>& given_up)> work);

// The same for work with a result.
template <class Result>
Result InBackground(std::function<Result(const std::function<bool()>& given_up)> work) {
    auto result = std::make_shared<std::optional<Result>>();
    RunInBackground([work = std::move(work), result](const std::function<bool()>& given_up) {
        result->emplace(work(given_up));
    });
    return std::move(**result);
}

// Whether somebody waits for such work.
bool IsWaitingForWork();

// Returns when all work has ended, given up or not: for the end of a test's process.
void AwaitAllWork();

}  // namespace vantry
