// Rows that go together against the same rows one by one: the same log, the same counts and the
// same rows in the target, whatever goes wrong. The target is played: it takes blocks as each kind
// of driver does, or refuses them and gets its rows one by one.

#include "data/cancelled.h"
#include "engine/row_loader.h"
#include "engine/run_report.h"
#include "engine/session_fixture.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace vantry::test {
namespace {

// What befalls the rows of one load.
struct Fate {
    int rows = 0;
    std::set<int> refused = {};     // by the target, on each try
    std::set<int> unreadable = {};  // a field of the source
    int source_dies_behind = 0;     // the step to the next row fails; 0: never
    int target_dies_at = 0;         // no row from here on
    int cancel_at_event = 0;
    std::size_t most_kept = 50;        // 1: one by one
    std::set<int> changes_block = {};  // rows that don't fit the block before them
    std::set<int> alone = {};
    std::set<int> stopped = {};  // by a cancel, at the server
};

class BlockRowsTest : public SessionTest {
protected:
    // What has to be the same with and without blocks: result, log, counter, rows and report.
    auto Load(const Fate& fate) {
        ClearTable();
        FillSource(fate.rows);
        for (const int row : fate.unreadable) {
            source->rows[static_cast<std::size_t>(row - 1)][1] = Unreadable();
        }
        source->calls.clear();
        source->before = nullptr;
        if (fate.source_dies_behind != 0) {
            // One step for the count, one for each row.
            source->FailFrom("Next", fate.source_dies_behind + 2, "the source is gone");
        }
        target->before = [&](std::string_view operation, int) {
            EXPECT_TRUE(view.waits || operation == "Settle") << operation;
        };
        target->most_kept = fate.most_kept;
        target->longest_block = 0;
        target->keep = [&fate](std::span<const Cell> row, bool is_first) {
            const auto id = static_cast<int>(row[0].AsInt64());
            return fate.alone.contains(id)                        ? Statement::Keeping::Alone
                   : !is_first && fate.changes_block.contains(id) ? Statement::Keeping::Full
                                                                  : Statement::Keeping::Kept;
        };
        target->judge = [&fate](std::span<const Cell> row) {
            const auto id = static_cast<int>(row[0].AsInt64());
            if (fate.target_dies_at != 0 && id >= fate.target_dies_at) {
                throw DataError(kErrUnspecified, "gone");
            }
            if (fate.stopped.contains(id)) {
                throw DataError(kErrCancelled, "stopped");
            }
            if (fate.refused.contains(id)) {
                throw DataError(kErrConstraint, "refused " + std::to_string(id));
            }
        };
        StartRunReport();
        SessionCancelled = TableCancelled = kFalse;
        view = RecordingView();
        view.cancel_at_event = fate.cancel_at_event;
        TargetType = "MSSQL";
        const i16 result = LoadRowsGeneric(0);
        std::string rows;
        for (const auto& row : target->taken) {
            rows += Shown(row) + "\n";
        }
        const auto& report = ReportOf(0);
        return std::tuple(result,
                          view.log,
                          view.counter,
                          rows,
                          report.RowsLoaded,
                          report.RowsRead,
                          report.Errors);
    }

    void ExpectLikeSingleRows(Fate fate, const std::string& where) {
        const auto together = Load(fate);
        const int events = view.events;
        EXPECT_LE(target->longest_block, fate.most_kept) << where;
        fate.most_kept = 1;
        const auto single = Load(fate);
        ASSERT_EQ(target->longest_block, 0U);
        ASSERT_EQ(together, single) << where;
        if (fate.refused.empty() && fate.target_dies_at == 0) {
            EXPECT_EQ(events, view.events) << where;
        }
    }
};

// The 50th error ends the table, and nothing behind its row has been sent.
TEST_F(BlockRowsTest, RandomLoadsEndLikeSingleRows) {
    const char* more = std::getenv("VANTRY_RANDOM_LOADS");
    const int loads = more != nullptr ? std::atoi(more) : 1000;
    std::mt19937 random(20);
    const auto below = [&](int most) {
        return std::uniform_int_distribution<int>(0, most - 1)(random);
    };
    int refused = 0;  // these three as the logs have it
    int cancelled = 0;
    int lost = 0;
    for (int load = 0; load < loads; ++load) {
        Fate fate{.rows = below(260)};
        const auto sprinkle = [&](std::set<int>& rows, int one_in) {
            for (int row = 1; row <= fate.rows; ++row) {
                if (below(one_in) == 0) {
                    rows.insert(row);
                }
            }
        };
        constexpr std::array kRates = {1, 2, 3, 10, 60, 100'000};
        sprinkle(fate.unreadable, below(3) == 0 ? 15 : 100'000);
        sprinkle(fate.changes_block, kRates[static_cast<std::size_t>(below(6))] + 1);
        sprinkle(fate.alone, 40);
        fate.most_kept = below(2) == 0 ? 50 : static_cast<std::size_t>(2 + below(48));
        fate.source_dies_behind = below(8) == 0 ? 1 + below(260) : 0;
        fate.target_dies_at = below(8) == 0 ? 1 + below(260) : 0;
        if (below(3) == 0) {
            // A cancel finds the rows of a block sent when one of them was refused.
            fate.cancel_at_event = 1 + below(12);
            fate.target_dies_at = 0;
        } else {
            sprinkle(fate.refused, kRates[static_cast<std::size_t>(below(6))]);
            if (below(4) == 0) {
                fate.refused.insert({1, 49, 50, 51, fate.rows});
            }
        }
        ExpectLikeSingleRows(fate, "load " + std::to_string(load));
        if (HasFatalFailure()) {
            return;
        }
        refused += Count(view.log, "\r\nrefused ");
        cancelled += Count(view.log, "User Requested to cancel");
        lost += Count(view.log, "gone\r\n") > 0 ? 1 : 0;
    }
    std::cout << loads << " loads: " << refused << " refused rows, " << cancelled << " cancels, "
              << lost << " lost connections\n";
    Load({.rows = 120});
    EXPECT_EQ(target->longest_block, 50U);
}

// With refused rows a cancel may come up to a block later than with single ones, but what is in the
// target is counted, and each other row that was read has its line.
TEST_F(BlockRowsTest, ACancelAmongRefusedRowsLeavesTheLedgerRight) {
    for (int event = 1; event <= 12; ++event) {
        Fate fate{.rows = 200, .refused = {3, 11, 12, 30, 55, 90}, .cancel_at_event = event};
        Load(fate);
        const auto& report = ReportOf(0);
        EXPECT_EQ(report.RowsLoaded, static_cast<std::int64_t>(target->taken.size()));
        EXPECT_EQ(report.RowsRead, report.RowsLoaded + report.Errors);
        EXPECT_NE(view.log.find(std::to_string(report.RowsLoaded) +
                                " Rows Loaded\r\nUser Requested to cancel loading"),
                  std::string::npos)
            << view.log;
        EXPECT_LE(report.RowsRead, 10 * event + 60);
    }
}

// A row that needs those before it out of its way isn't sent behind a cancel that came meanwhile:
// neither one that has stopped them at the server nor one at a refused row's hand-over.
TEST_F(BlockRowsTest, ACancelFindsTheRowBehindABlockUnsent) {
    const std::set<int> block = {7, 8, 9, 10, 11};
    const std::tuple<Fate, std::int64_t, int> cases[] = {
        {{.rows = 40, .changes_block = {7, 12}, .stopped = block}, 6, 0},
        {{.rows = 40, .changes_block = {7}, .alone = {12}, .stopped = block}, 6, 0},
        {{.rows = 40, .unreadable = {12}, .changes_block = {7}, .stopped = block}, 6, 0},
        {{.rows = 40, .refused = {1}, .cancel_at_event = 2, .changes_block = {12}}, 10, 1},
        {{.rows = 40, .refused = {1}, .cancel_at_event = 2, .alone = {12}}, 10, 1},
        {{.rows = 40, .refused = {1}, .unreadable = {12}, .cancel_at_event = 2}, 10, 1}};
    for (const auto& [fate, loaded, errors] : cases) {
        Load(fate);
        SCOPED_TRACE(view.log);
        const auto& report = ReportOf(0);
        EXPECT_EQ(target->taken.size(), static_cast<std::size_t>(loaded));
        EXPECT_EQ(report.RowsLoaded, loaded);
        EXPECT_EQ(report.RowsRead, loaded + errors);
        EXPECT_EQ(LoggedErrors(), errors);
        EXPECT_EQ(report.Outcome, TableOutcome::Cancelled);
    }
}

TEST_F(BlockRowsTest, ASlowSourceHoldsNoRowsBack) {
    FillSource(4);
    TargetType = "MSSQL";
    target->most_kept = 50;
    target->keep = [](auto, bool) { return Statement::Keeping::Kept; };
    std::vector<std::size_t> arrived;
    source->before = [&](std::string_view operation, int number) {
        if (operation == "Next" && number >= 4) {  // behind the count and two rows
            arrived.push_back(target->taken.size());
            std::this_thread::sleep_for(std::chrono::milliseconds(600));
        }
    };
    EXPECT_EQ(LoadRowsGeneric(0), kTrue);
    EXPECT_EQ(arrived, (std::vector<std::size_t>{0, 3, 3}));
    EXPECT_EQ(target->taken.size(), 4U);
}

}  // namespace
}  // namespace vantry::test
