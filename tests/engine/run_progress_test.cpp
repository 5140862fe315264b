#include "engine/run_progress.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(RunProgress, TheRateIsThatOfTheLastTenSecondsAndTheEndIsGuessedFromTheTablesSoFar) {
    using std::chrono::milliseconds;
    const RunProgress::Clock::time_point start;
    RunProgress progress(start);
    // A first table of 10 s at 100 rows a second, then 30 s of the second one at 1000, then 200.
    int ms = 0;
    for (; ms <= 10'000; ms += 100) {
        progress.Take(1, 4, ms / 10, 1000);
        progress.Tick(start + milliseconds(ms));
    }
    EXPECT_NEAR(progress.RowsPerSecond(), 100, 1);
    for (; ms <= 60'000; ms += 100) {
        const auto rows = ms <= 40'000 ? ms - 10'000 : 30'000 + (ms - 40'000) / 5;
        progress.Take(2, 4, rows, 36'000);
        progress.Tick(start + milliseconds(ms));
    }
    EXPECT_NEAR(progress.RowsPerSecond(), 200, 1);
    // 2000 rows left: 10 s, so 70 s for two tables, and two more to come.
    EXPECT_NEAR(progress.SecondsLeft(), 10 + 70, 2);
    progress.TakeErrors(1);
    EXPECT_EQ(progress.Text().substr(0, 41), "Table 2 of 4, 34,000 of 36,000 rows, 200 ");
    EXPECT_EQ(progress.Text().substr(progress.Text().size() - 9), ", 1 error");
    progress.Take(3, 4, 0, 0);
    progress.Tick(start + milliseconds(ms));
    EXPECT_EQ(progress.Text(), "Table 3 of 4, 0 rows, 0 rows/s, 0:01:00, 1 error");
    EXPECT_EQ(GroupedNumber(-1234567), "-1,234,567");
    EXPECT_EQ(GroupedNumber(-123), "-123");
}

}  // namespace
}  // namespace vantry
