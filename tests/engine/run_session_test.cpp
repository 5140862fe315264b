// A run as a whole: its tables, its log and its record; what is shown before it is what it sends;
// and how it is getting on.

#include "engine/run_session.h"

#include "engine/run_log.h"
#include "engine/run_progress.h"
#include "engine/run_report.h"
#include "engine/run_statements.h"
#include "engine/session_fixture.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace vantry::test {
namespace {

class RunSessionTest : public SessionTest {};

struct PreparationCase {
    const char* option;
    const char* operation;     // refused by the target
    std::vector<int> failing;  // at its calls of these numbers
    std::vector<std::string> statements;
    std::string log;
};

TEST_F(RunSessionTest, AnExistingTableIsDroppedEmptiedOrAppendedTo) {
    const std::string create = "Create Table [dst] (\r [s_id] Long,\r [s_name] Text(20)\r)";
    const std::string loading =
        "About to Insert Rows from src to dst\n1 Rows Loaded Time Elapsed :E";
    const std::string deleting = "About to delete existing rows from dst\n";
    const std::string dropping = "About to Drop Table :dst\n";
    const std::string creating = "dst Table dropped\nAbout To Create Table src\n\n";
    const PreparationCase cases[] = {
        {"APPEND", "", {}, {}, loading},
        {"drop", "", {}, {}, loading},
        {"DELETE",
         "",
         {},
         {"delete from [dst]"},
         deleting + "Existing Rows deleted succesfully from table dst\n" + loading},
        {"DELETE",
         "Execute",
         {1},
         {"delete from [dst]"},
         deleting + "Error deleting rows from table dst\nlocked"},
        // Emptying opens its connection before it says what it is about to do.
        {"DELETE", "Connect", {1}, {}, "Error deleting rows from table dst\nlocked"},
        {"DROP",
         "",
         {},
         {"drop table [dst]", create},
         dropping + creating + "dst Table Created Successfully\n\n" + loading},
        {"DROP",
         "Execute",
         {1},
         {"drop table [dst]"},
         dropping + "dst Table Cannot be Dropped\nlocked"},
        {"DROP", "Connect", {1, 2}, {}, dropping + "dst Table Cannot be Dropped\nlocked"},
        {"DROP",
         "Execute",
         {2},
         {"drop table [dst]", create},
         dropping + creating + "Error Creating Table dst\n\nlocked"},
    };
    FillSource(1);
    ColMaps[0].SOrgDtype = "Integer";
    ColMaps[1].SOrgDtype = "VarWchar";
    ColMaps[1].SWidth = 20;
    for (const auto& c : cases) {
        SrcTables[0].LoadOption = c.option;
        target->statements.clear();
        target->calls.clear();
        target->FailAt(c.operation, c.failing, "locked");
        RunSession("");
        EXPECT_EQ(target->statements, c.statements) << c.option;
        EXPECT_EQ(Log(), RunLog(c.log));
    }
}

TEST_F(RunSessionTest, ATableThatFailsOrHasNoTargetDoesntStopTheOthers) {
    FillSource(2);
    AddTable("src2", "dst2");
    MapColumn("id");
    MapColumn("name");
    SrcTables[0].LoadOption = "DELETE";
    target->FailAlways("Execute", "locked");
    RunSession("");
    EXPECT_EQ(target->taken.size(), 2u);
    EXPECT_TRUE(LogHas("About to Insert Rows from src2 to dst2"));
    EXPECT_EQ(ReportOf(0).Outcome, TableOutcome::NotPrepared);
    EXPECT_EQ(ReportOf(0).Errors, 1);

    SrcTables[0].LoadOption = "APPEND";
    DstTables.pop_back();
    RunSession("");
    EXPECT_EQ(target->taken.size(), 4u);
    EXPECT_TRUE(LogHas("\"src2\" isn't loaded: the session names no target for it.")) << Log();
    EXPECT_TRUE(Log().ends_with("*******( F.I.N.I.S.H )*********"));
    EXPECT_EQ(ReportOf(1).Outcome, TableOutcome::NotPrepared);
    EXPECT_EQ(ReportOf(1).Errors, 1);

    // A polled file keeps its name.
    const TempDir polled;
    polled.Write("src", "");
    PollFolder = polled.Path().string();
    PollRename = "done";
    SourceType = "TEXTPOLL";
    SrcTables[0].LoadOption = "DELETE";
    RunSession("");
    EXPECT_TRUE(std::filesystem::exists(polled / "src"));
}

TEST_F(RunSessionTest, ACancelEndsTheWalkAfterItsTableAndTheClosingLinesFollow) {
    FillSource(15);
    AddTable("src2", "dst2");
    MapColumn("id");
    view.cancel_at_event = 1;
    CurrentSessionID = 7;
    RunSession("");
    EXPECT_EQ(Log(),
              RunLog("About to Insert Rows from src to dst\n10 Rows Loaded\n"
                     "User Requested to cancel loading Time Elapsed :E"));
    EXPECT_EQ(repository->statements.size(), 1u);
    // The next run starts afresh.
    RunSession("");
    EXPECT_NE(view.log.find("dst2"), std::string::npos);
}

TEST_F(RunSessionTest, ASavedSessionLeavesItsRecordAndItsCreatedTables) {
    FillSource(1);
    AddTable("src2", "dst2");
    AddTable("src3", "dst3");
    for (auto& table : SrcTables) {
        table.TableExists = kFalse;
        table.FirstTimeLoadOpt = "CREATE";
    }
    SrcTables[2].FirstTimeLoadOpt = "";
    CurrentSessionID = 12;
    target->FailAt("Execute", {2}, "no room");  // the second table isn't created
    SetLocalDateForm({DateOrder::MonthDayYear, '/', false, true});
    RunSession("");
    ASSERT_EQ(repository->statements.size(), 2u);
    const DateTime now = Now();
    EXPECT_EQ(repository->statements[0].substr(0, 60),
              ("update sessions set LastRunDate=\"" + ShortDate(now) + "\",LastRunTime=\"" +
               TimeAmPm(now))
                  .substr(0, 60));
    EXPECT_TRUE(repository->statements[0].ends_with("M\",SessionError=0 where sessionid=12"));
    EXPECT_EQ(repository->statements[1],
              "Update vytabs set TableExists=1,FirstTimeLoadOpt=\"\" where vytabs.SessionId=12 and "
              "vytabs.tabid=0");
    EXPECT_EQ(CreatedTables.size(), 3u);
    EXPECT_EQ(RepoConn, nullptr);
    // A load that fails counts as a created table, too.
    target->FailAlways("ExecutePrepared", "refused");
    RunSession("");
    EXPECT_EQ(repository->statements.size(), 5u) << "now the second is created, too";
}

TEST_F(RunSessionTest, AnUnsavedSessionTouchesNoRepositoryAndALockedOneIsTheCallersToTell) {
    FillSource(1);
    repository->FailAlways("Connect", "locked");
    EXPECT_NO_THROW(RunSession(""));
    EXPECT_TRUE(repository->calls.empty());
    // A session that is only run keeps off the record of one that was saved before it.
    CurrentSessionID = 1;
    SessionNotSaved = kTrue;
    EXPECT_NO_THROW(RunSession(""));
    EXPECT_TRUE(repository->calls.empty());
    SessionNotSaved = kFalse;
    EXPECT_THROW(RunSession(""), DataError);
}

TEST(RunLogTest, ElapsedTimeCountsBoundariesAndKeepsItsMinutesWhole) {
    const auto at = [](int day, int hour, int minute, int second) {
        return DateTime{day, *NanosOf(hour, minute, second)};
    };
    const std::tuple<DateTime, DateTime, const char*> cases[] = {
        {at(45000, 9, 0, 0), at(45000, 10, 30, 0), "1 Hrs 90 Min 0 Sec"},
        {at(45000, 9, 0, 1), at(45000, 9, 59, 59), "0 Hrs 59 Min 58 Sec"},
        {at(45000, 23, 59, 59), at(45001, 0, 0, 1), "0 Hrs 0 Min 2 Sec"},
        {{45000, 999'999'999}, {45000, 1'000'000'000}, "0 Hrs 0 Min 1 Sec"},
        {at(-1, 23, 59, 50), at(0, 0, 59, 30), "1 Hrs 59 Min 40 Sec"},
    };
    for (const auto& [from, to, text] : cases) {
        EXPECT_EQ(ElapsedText(from, to), text);
    }
}

class RunStatementsTest : public SessionTest {};

TEST_F(RunStatementsTest, WhatIsShownBeforeARunIsWhatTheRunSends) {
    for (const char* kind : {"ACCESS", "MySQL", "ORACLE"}) {
        for (const char* option : {"APPEND", "DELETE", "DROP", "new"}) {
            for (const int type : {adVarWChar, adLongVarWChar}) {
                SCOPED_TRACE(std::string(kind) + " " + option + " " + std::to_string(type));
                ClearTable();
                FillSource(2, type);
                TargetType = kind;
                SrcTables[0].LoadOption = option;
                SrcTables[0].TableExists = ToI16(std::string_view(option) != "new");
                SrcTables[0].WhereCond = "s_id > 0";
                const auto shown = StatementsOf(0, RowWayOf(0));
                for (const auto& driver : {source, target}) {
                    driver->queries.clear();
                    driver->statements.clear();
                    driver->prepared.clear();
                }
                RunSession("");
                std::vector<std::string> sent = target->statements;
                sent.insert(sent.begin() +
                                static_cast<std::ptrdiff_t>(
                                    sent.size() -
                                    (target->prepared.empty() && target->queries.empty() ? 1 : 0)),
                            source->queries.begin(),
                            source->queries.end());
                for (const auto* more : {&target->prepared, &target->queries}) {
                    sent.insert(sent.end(), more->begin(), more->end());
                }
                ASSERT_EQ(shown.statements.size(), sent.size());
                for (std::size_t k = 0; k < sent.size(); ++k) {
                    const auto& [use, text] = shown.statements[k];
                    EXPECT_EQ(
                        use == RunStatement::Use::Insert ? sent[k].substr(0, text.size()) : sent[k],
                        text);
                }
                EXPECT_EQ(target->taken.size(),
                          std::string_view(kind) == "MySQL" && type == adVarWChar ? 0U : 2U);
            }
        }
    }
}

TEST_F(RunStatementsTest, AScriptNamesEachStatementAndWhyATableIsLeftOut) {
    FillSource(1);
    SrcTables[0].LoadOption = "DELETE";
    EXPECT_EQ(StatementsText(StatementsOf(0, RowWay::Insert)),
              "-- src into dst\n-- delete\ndelete from [dst]\n-- count\nSelect count(*)  FROM "
              "src\n-- select\nSELECT [s_id],[s_name] FROM src\n-- insert\nINSERT INTO [dst] ("
              " [d_id], [d_name]) VALUES \n");
    DstTables.clear();
    EXPECT_NE(StatementsOf(0).fault.find("names no target"), std::string::npos);
}

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
    EXPECT_EQ(progress.Text(), "Table 3 of 4, 0 rows, 0:01:00, 1 error");
    EXPECT_EQ(GroupedNumber(-1234567), "-1,234,567");
    EXPECT_EQ(GroupedNumber(-123), "-123");
}

}  // namespace
}  // namespace vantry::test
