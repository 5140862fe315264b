#include "engine/run_session.h"

#include "engine/run_log.h"
#include "engine/run_report.h"
#include "engine/session_fixture.h"
#include "support/temp_dir.h"

#include <filesystem>

namespace vantry::test {
namespace {

class RunSessionTest : public SessionTest {};

TEST_F(RunSessionTest, ARunThatCreatesAndFillsATableTellsItStepByStep) {
    FillSource(3);
    SrcTables[0].TableExists = kFalse;
    RunSession("");
    EXPECT_EQ(ReadableLog(view.log),
              "Started loading at :T\n"
              "About To Create Table src\n"
              "\n"
              "dst Table Created Successfully\n"
              "\n"
              "About to Insert Rows from src to dst\n"
              "3 Rows Loaded Time Elapsed :E\n"
              "End Time is :T\n"
              "Total Time Elapsed for Session:E\n"
              "*******( F.I.N.I.S.H )*********");
    EXPECT_EQ(view.caret, view.log.size());
    EXPECT_EQ(view.repaints, 2);
    EXPECT_EQ(view.counter, "");
}

struct PreparationCase {
    const char* option;
    std::vector<int> failing;  // numbers of the statements that the target refuses
    std::vector<std::string> statements;
    const char* log;  // between the first line and the closing ones
};

TEST_F(RunSessionTest, AnExistingTableIsDroppedEmptiedOrAppendedTo) {
    const std::string create = "Create Table [dst] (\r [s_id] Long,\r [s_name] Text(20)\r)";
    const PreparationCase cases[] = {
        {"APPEND", {}, {}, "\nAbout to Insert Rows from src to dst\n1 Rows Loaded Time Elapsed :E"},
        {"drop", {}, {}, "\nAbout to Insert Rows from src to dst\n1 Rows Loaded Time Elapsed :E"},
        {"DELETE",
         {},
         {"delete from [dst]"},
         "\nAbout to delete existing rows from dst"
         "\nExisting Rows deleted succesfully from table dst"
         "\nAbout to Insert Rows from src to dst\n1 Rows Loaded Time Elapsed :E"},
        {"DELETE",
         {1},
         {"delete from [dst]"},
         "\nAbout to delete existing rows from dst\nError deleting rows from table dst\nlocked"},
        {"DROP",
         {},
         {"drop table [dst]", create},
         "\nAbout to Drop Table :dst\ndst Table dropped"
         "\nAbout To Create Table src\n\ndst Table Created Successfully\n"
         "\nAbout to Insert Rows from src to dst\n1 Rows Loaded Time Elapsed :E"},
        {"DROP",
         {1},
         {"drop table [dst]"},
         "\nAbout to Drop Table :dst\ndst Table Cannot be Dropped\nlocked"},
        {"DROP",
         {2},
         {"drop table [dst]", create},
         "\nAbout to Drop Table :dst\ndst Table dropped"
         "\nAbout To Create Table src\n\nError Creating Table dst\n\nlocked"},
    };
    FillSource(1);
    ColMaps[0].SOrgDtype = "Integer";
    ColMaps[1].SOrgDtype = "VarWchar";
    ColMaps[1].SWidth = 20;
    for (const auto& c : cases) {
        SrcTables[0].LoadOption = c.option;
        target->statements.clear();
        target->calls.clear();
        target->FailAt("Execute", c.failing, "locked");
        RunSession("");
        EXPECT_EQ(target->statements, c.statements) << c.option;
        EXPECT_EQ(ReadableLog(view.log),
                  std::string("Started loading at :T") + c.log +
                      "\nEnd Time is :T\nTotal Time Elapsed for Session:E\n"
                      "*******( F.I.N.I.S.H )*********");
    }
}

TEST_F(RunSessionTest, ATargetThatCantBeOpenedIsToldByTheStepThatFound) {
    FillSource(1);
    target->FailAlways("Connect", "no target");
    SrcTables[0].LoadOption = "DROP";
    RunSession("");
    EXPECT_NE(ReadableLog(view.log).find("T\nAbout to Drop Table :dst\ndst Table Cannot be Dropped"
                                         "\nno target\nEnd Time"),
              std::string::npos);
    // Emptying opens its connection before it says what it is about to do.
    SrcTables[0].LoadOption = "DELETE";
    RunSession("");
    EXPECT_NE(ReadableLog(view.log).find("T\nError deleting rows from table dst\nno target\nEnd"),
              std::string::npos);
}

TEST_F(RunSessionTest, DroppingOpensTheTargetTwice) {
    FillSource(0);
    SrcTables[0].LoadOption = "DROP";
    target->FailAt("Execute", {1}, "locked");
    RunSession("");
    EXPECT_EQ(target->calls["Connect"], 2);
}

TEST_F(RunSessionTest, ATableThatFailsDoesntStopTheNextOne) {
    FillSource(2);
    AddTable("src2", "dst2");
    MapColumn("id");
    MapColumn("name");
    SrcTables[0].LoadOption = "DELETE";
    target->FailAlways("Execute", "locked");
    RunSession("");
    EXPECT_EQ(target->taken.size(), 2u);
    EXPECT_NE(view.log.find("About to Insert Rows from src2 to dst2"), std::string::npos);
}

TEST_F(RunSessionTest, ATableWithoutATargetIsToldAndTheOthersAreLoaded) {
    FillSource(2);
    AddTable("src2", "dst2");
    DstTables.pop_back();
    RunSession("");
    EXPECT_EQ(target->taken.size(), 2u);
    EXPECT_NE(view.log.find("\"src2\" isn't loaded: the session names no target for it."),
              std::string::npos)
        << view.log;
    EXPECT_TRUE(view.log.ends_with("*******( F.I.N.I.S.H )*********"));
    EXPECT_EQ(ReportOf(1).Outcome, TableOutcome::NotPrepared);
}

TEST_F(RunSessionTest, ACancelEndsTheWalkAfterItsTableAndTheClosingLinesFollow) {
    FillSource(15);
    AddTable("src2", "dst2");
    MapColumn("id");
    view.cancel_at_event = 1;
    CurrentSessionID = 7;
    RunSession("");
    EXPECT_EQ(ReadableLog(view.log),
              "Started loading at :T\nAbout to Insert Rows from src to dst\n10 Rows Loaded\n"
              "User Requested to cancel loading Time Elapsed :E\nEnd Time is :T\n"
              "Total Time Elapsed for Session:E\n*******( F.I.N.I.S.H )*********");
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
}

TEST_F(RunSessionTest, ALoadThatFailsStillCountsAsACreatedTable) {
    FillSource(60);
    SrcTables[0].TableExists = kFalse;
    SrcTables[0].FirstTimeLoadOpt = "CREATE";
    CurrentSessionID = 3;
    target->FailAlways("ExecutePrepared", "refused");
    RunSession("");
    EXPECT_EQ(repository->statements.size(), 2u);
}

TEST_F(RunSessionTest, AnUnsavedSessionTouchesNoRepositoryAndALockedOneIsTheCallersToTell) {
    FillSource(1);
    repository->FailAlways("Connect", "locked");
    EXPECT_NO_THROW(RunSession(""));
    EXPECT_TRUE(repository->calls.empty());
    CurrentSessionID = 1;
    EXPECT_THROW(RunSession(""), DataError);
}

TEST_F(RunSessionTest, APolledFileIsRenamedByTheLastLoadsResult) {
    const TempDir folder;
    SourceType = "TEXTPOLL";
    PollFolder = folder.Path().string() + "/";
    PollRename = "Loaded";
    const auto files = [&] {
        std::string names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
            const auto name = entry.path().filename().string();
            names += name.substr(0, name.find("_On_")) + " ";
        }
        return names;
    };
    FillSource(60);
    SrcTables[0].Name = "a.csv";

    folder.Write("a.csv", "1");
    target->FailAlways("Connect", "no target");
    RunSession("");
    EXPECT_EQ(files(), "a.csv ");  // given up

    target->before = nullptr;
    RunSession("");
    EXPECT_EQ(files(), "a.csv.Loaded ");

    // A table that couldn't be prepared goes by the result of the one before it.
    std::filesystem::remove_all(folder.Path());
    std::filesystem::create_directory(folder.Path());
    folder.Write("a.csv", "1");
    folder.Write("b.csv", "1");
    AddTable("b.csv", "b");
    MapColumn("id");
    SrcTables[1].LoadOption = "DELETE";
    target->FailAlways("Execute", "locked");
    RunSession("");
    EXPECT_EQ(files().find(".csv "), std::string::npos) << files();
    EXPECT_TRUE(view.messages.empty());
}

TEST_F(RunSessionTest, MySQLTargetsHaveTheirOwnLoader) {
    FillSource(2);
    TargetType = "MySQL";
    RunSession("");
    EXPECT_EQ(target->statements.size(), 1u);
    EXPECT_NE(view.log.find("About to Insert Rows in dst Table"), std::string::npos);
}

TEST(RunLogTest, ElapsedTimeCountsBoundariesAndKeepsItsMinutesWhole) {
    const auto at = [](int day, int hour, int minute, int second) {
        return DateTime{day, *NanosOf(hour, minute, second)};
    };
    struct {
        DateTime from;
        DateTime to;
        const char* text;
    } const cases[] = {
        {at(45000, 9, 0, 0), at(45000, 9, 0, 0), "0 Hrs 0 Min 0 Sec"},
        {at(45000, 9, 0, 0), at(45000, 10, 30, 0), "1 Hrs 90 Min 0 Sec"},
        {at(45000, 9, 0, 59), at(45000, 10, 0, 0), "1 Hrs 59 Min 1 Sec"},
        {at(45000, 9, 0, 1), at(45000, 9, 59, 59), "0 Hrs 59 Min 58 Sec"},
        {at(45000, 23, 59, 59), at(45001, 0, 0, 1), "0 Hrs 0 Min 2 Sec"},
        {{45000, 999'999'999}, {45000, 1'000'000'000}, "0 Hrs 0 Min 1 Sec"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ElapsedText(c.from, c.to), c.text);
    }
}

}  // namespace
}  // namespace vantry::test
