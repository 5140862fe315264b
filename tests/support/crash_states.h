#pragma once
// What work on the files of a folder leaves when it is killed, the power fails, or one of its
// operations does: every such state in turn, for a test to judge.

#include "files/error_of.h"
#include "support/child_process.h"
#include "support/fault_plans.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace vantry::test {

enum class Interruption { Kill, PowerFailure };

class RecordedRun {
public:
    // Runs `work`, which reports the end of each of its steps.
    RecordedRun(const std::filesystem::path& folder,
                Planted planted,
                const std::function<void(const Report&)>& work)
        : folder_(folder), record_(ReadFolder(folder), planted) {
        const InstalledPlan installed(record_);
        work([this] { ends_.push_back(record_.Steps()); });
    }

    std::size_t Operations() const { return record_.Steps(); }
    // The state behind so many operations.
    DiskRecord::Files StateAt(std::size_t operations, Interruption by) {
        return record_.StateAfter(operations, by == Interruption::Kill ? nullptr : &random_);
    }
    // The steps that had ended then.
    std::size_t DoneAt(std::size_t operations) const {
        return static_cast<std::size_t>(std::upper_bound(ends_.begin(), ends_.end(), operations) -
                                        ends_.begin());
    }
    // Puts every `stride`-th state into the folder; how many of them `is_good` takes for bad, who
    // is told how many steps had ended.
    int CountBad(Interruption by,
                 std::size_t stride,
                 const std::function<bool(std::size_t done)>& is_good) {
        NoSync no_sync;
        const InstalledPlan installed(no_sync);
        int bad = 0;
        for (std::size_t at = 0; at <= Operations(); at += stride) {
            WriteFolder(folder_, StateAt(at, by));
            bad += is_good(DoneAt(at)) ? 0 : 1;
        }
        return bad;
    }

private:
    std::filesystem::path folder_;
    DiskRecord record_;
    std::vector<std::size_t> ends_;
    std::mt19937 random_{17};
};

// Lets the n-th operation of `work` fail, once or for good in turn, for each n that there is.
// `judge` gets n and the error, empty where the work came to its end.
inline void FailEachOperation(const std::function<void()>& prepare,
                              const std::function<void()>& work,
                              const std::function<void(int nth, const std::string& error)>& judge) {
    for (int nth = 0;; ++nth) {
        {
            NoSync no_sync;
            const InstalledPlan installed(no_sync);
            prepare();
        }
        FailAt plan(nth, ENOSPC, nth % 2 == 0, Planted::Nothing);
        std::string error;
        {
            const InstalledPlan installed(plan);
            error = ErrorOf(work);
        }
        judge(nth, error);
        if (!plan.Triggered() || testing::Test::HasFailure()) {
            return;
        }
    }
}

}  // namespace vantry::test
