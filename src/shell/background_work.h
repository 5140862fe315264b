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

struct SharedWork;

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

// For work that changes something: it isn't given up, as it would go on behind a user who was told
// that it ended. `hint` says at the bottom of the frame what goes on, if it takes longer.
void RunToItsEnd(std::function<void()> work, const char* hint);

// Work that nobody waits for, for whoever looks at it now and then. Where it goes before the end,
// the work goes on alone.
class WorkBeside {
public:
    explicit WorkBeside(std::function<void()> work);
    bool HasEnded() const;
    void Result() const;  // throws what the work threw

private:
    std::shared_ptr<SharedWork> shared_;
};

// Whether somebody waits for work.
bool IsWaitingForWork();

// Returns when all work has ended, given up or not: for the end of a test's process.
void AwaitAllWork();

}  // namespace vantry
