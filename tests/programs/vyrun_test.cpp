#include "engine/session_fixture.h"
#include "programs/application.h"
#include "repository/program_lock.h"
#include "repository/run_summary.h"
#include "repository/saved_session.h"
#include "repository/session_runner.h"
#include "support/fault_plans.h"
#include "support/has.h"
#include "support/quiet_port.h"
#include "support/session_steps.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <regex>
#include <thread>

namespace vantry::test {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

std::int64_t NumberIn(const std::string& summary, const std::string& name) {
    std::smatch found;
    const std::regex number("\"" + name + "\": (-?[0-9]+)");
    return std::regex_search(summary, found, number) ? std::stoll(found[1]) : -1;
}

TEST(VYRun, TheFirstRunCreatesAndTheSecondAppends) {
    const Application app;
    const std::string id = std::to_string(app.SaveOrders("first", 25));

    const auto first = app.Run({id});
    EXPECT_EQ(first.exit_code, 0) << first.errors;
    EXPECT_EQ(first.output, "");
    const std::string loaded =
        "About to Insert Rows from orders.csv to orders\n25 Rows Loaded Time Elapsed :E";
    EXPECT_EQ(ReadableLog(app.Log("first")),
              RunLog("About To Create Table orders.csv\n\norders Table Created Successfully\n\n" +
                     loaded));
    EXPECT_EQ(app.RowsIn("out.mdb", "orders"), 25);
    EXPECT_EQ(NumberIn(app.Summary("first"), "exitCode"), 0);
    EXPECT_EQ(NumberIn(app.Summary("first"), "rowsRead"), 25);
    EXPECT_EQ(NumberIn(app.Summary("first"), "rowsLoaded"), 25);
    EXPECT_TRUE(Has(app.Summary("first"), "\"version\": \"2.0\""));
    const auto sessions = ListSessions();
    EXPECT_EQ(sessions.at(0).LastRunDate, ShortDate(Now()));
    ASSERT_TRUE(LoadSession(1));
    EXPECT_EQ(SrcTables.at(0).TableExists, kTrue);
    EXPECT_EQ(SrcTables.at(0).FirstTimeLoadOpt, "");

    const auto left = app.Folder().Write("log/first.log.json.part-999999999", "of a killed run");
    const auto second = app.Run({id, "ShowOutput"});
    EXPECT_EQ(second.exit_code, 0) << second.errors;
    EXPECT_FALSE(fs::exists(left));
    EXPECT_EQ(ReadableLog(app.Log("first")), RunLog(loaded));
    EXPECT_TRUE(Has(second.output, "25 Rows Loaded"));
    EXPECT_EQ(app.RowsIn("out.mdb", "orders"), 50);
    for (const char* file : {"log/first.log", "log/first.log.json", "log/session1.lock"}) {
        EXPECT_EQ(ModeOf(app.Path(file)), 0600U) << file;
    }

    // The log says fifty times that nothing is open; the reason stands beside it.
    fs::remove(app.Path("in/orders.csv"));
    const auto gone = app.Run({id});
    EXPECT_EQ(gone.exit_code, 2);
    const auto summary = app.Path("log/first.log.json");
    EXPECT_EQ(FailureIn(summary, 4), "") << "of another run";
    const auto why = FailureIn(summary, 2);
    EXPECT_TRUE(why.starts_with("orders.csv was given up: ") && !Has(why, "closed")) << why;
    EXPECT_TRUE(Has(gone.errors, "VYRun: " + why + "\n"));
}

TEST(VYRun, ALookWritesNothingAndAVerifiedRunTellsWhatItsTargetChanged) {
    const Application app;
    app.Folder().Write("Vantry.ini", "LogGenerations=1\nColour=blue\n");
    fs::create_directory(app.Path("in"));
    app.Folder().Write("in/odd.csv", "id,price\n1,12.34\n2,5\n3,1E400\n");
    app.FromText("odd.csv");
    app.ToAccess("out.mdb");
    RunStatement(TargetConnStr, "create table odd (id long, price long)");  // 12.34 becomes 12
    const std::string id = std::to_string(app.Save("odd"));

    const auto look = app.Run({id, "--dry-run"});
    EXPECT_EQ(look.exit_code, 0) << look.errors;
    EXPECT_NE(look.output.find("-- insert\nINSERT INTO [odd] ("), std::string::npos) << look.output;
    EXPECT_NE(look.output.find("-- rows of the target: 0\n"), std::string::npos) << look.output;
    EXPECT_NE(look.output.find("-- rows of the source: 3\n"), std::string::npos) << look.output;
    EXPECT_FALSE(fs::exists(app.Path("log/odd.log")));
    EXPECT_EQ(Count(look.errors, "\"Colour\" in line 2"), 1) << look.errors;

    const auto run = app.Run({id, "--verify"});
    EXPECT_EQ(run.exit_code, 4) << run.errors << app.Summary("odd");
    EXPECT_NE(run.errors.find("differs from its source in column price"), std::string::npos)
        << run.errors;
    EXPECT_EQ(NumberIn(app.Summary("odd"), "rows"), 1);
    EXPECT_EQ(NumberIn(app.Summary("odd"), "rowsRejected"), 1);
    const auto rejects = app.Folder().Read("log/odd.log.rejects.csv");
    EXPECT_NE(rejects.find("\"odd.csv\",3,refused,"), std::string::npos) << rejects;

    EXPECT_NE(app.Folder().Read("log/VYRun.log").find("\"Colour\" in line 2"), std::string::npos);
    app.Folder().Write("Vantry.ini", "VerifyRuns=1\n");
    EXPECT_EQ(app.Run({id}).exit_code, 4);
    app.Folder().Write("Vantry.ini", "LogGenerations=1\n");
    const auto again = app.Run({id});
    EXPECT_EQ(again.exit_code, 1);
    EXPECT_EQ(app.Summary("odd").find("verification"), std::string::npos);
    for (const char* file : {"log/odd.log.1", "log/odd.log.1.json", "log/odd.log.1.rejects.csv"}) {
        EXPECT_TRUE(fs::exists(app.Path(file))) << file;
    }
    EXPECT_NE(app.Folder().Read("log/odd.log.1.json").find("verification"), std::string::npos);
    // A log that has lost its summary gets no older one's.
    fs::remove(app.Path("log/odd.log.json"));
    EXPECT_EQ(app.Run({id}).exit_code, 1);
    EXPECT_FALSE(fs::exists(app.Path("log/odd.log.1.json")));
}

TEST(VYRun, WhatKeepsARunFromStartingIsToldAndHasItsCode) {
    const Application app;
    // Each of these is a session of its own: 1, 2, ... Its log is in the application's folder.
    const auto save = [&](const std::string& log) {
        SessionSave session;
        session.SesName = "x";
        session.LogName = log;
        SaveSession(session);
    };
    const auto start_over = [&] {
        app.FromText("orders.csv");
        app.ToAccess("out.mdb");
    };
    app.SaveOrders("good", 5);  // 1
    SourceConnStr = TextSourceConnectionString(app.Path("in"));
    TargetConnStr = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + app.Path("nosuch.mdb");
    save("log/no_target.log");  // 2
    start_over();
    SourceConnStr = TextSourceConnectionString(app.Path("nosuch"));
    save("log/no_source.log");  // 3
    SrcTables.clear();
    save("log/no_tables.log");  // 4
    start_over();
    app.Save("linked_log");  // 5
    app.Folder().Write("other.txt", "kept");
    fs::create_symlink(app.Path("other.txt"), app.Path("log/linked_log.log"));
    TargetType = "PAPER";
    save("log/no_kind.log");  // 6
    // A target without its table, a session without a log.
    start_over();
    app.Save("lost_table");  // 7
    RunStatement(RepoConnStr,
                 "update vytabs set TableExists=1,FirstTimeLoadOpt=\"\" where SessionID=7");
    RunStatement(RepoConnStr, "update sessions set LogFileName=\"\" where SessionID=7");
    // The log's name is that of a database.
    start_over();
    save("out.mdb");  // 8
    const std::string database = app.Folder().Read("out.mdb");
    // That of a text of the user's own, and one whose summary would have such a name.
    const auto letter = app.Folder().Write("letter.txt", "\r\nDear Sir\r\n");
    fs::permissions(letter, static_cast<fs::perms>(0644));
    save("letter.txt");  // 9
    app.Folder().Write("package.json", "{\n  \"name\": 1}");
    save("package");  // 10
    const auto busy = ProgramLock::Take(app.Path("log/session1.lock"));
    ASSERT_TRUE(busy);

    const struct {
        Lines arguments;
        int code;
        const char* reason;
        const char* log;
    } cases[] = {
        {{}, 64, "usage", "VYRun"},
        {{"x"}, 64, "usage", "VYRun"},
        {{"-1"}, 64, "usage", "VYRun"},
        {{"1", "ShowInput"}, 64, "usage", "VYRun"},
        {{"1", "ShowOutput", "2"}, 64, "usage", "VYRun"},
        {{"99"}, 6, "There is no session 99", "VYRun"},
        {{"1"}, 6, "is running already", "good"},
        {{"2"}, 3, "Can't connect to the target", "no_target"},
        {{"3"}, 3, "Can't connect to the source", "no_source"},
        {{"4"}, 3, "no tables", "no_tables"},
        {{"5"}, 3, "linked_log.log", "VYRun"},
        {{"6"}, 3, "PAPER", "no_kind"},
        {{"8"}, 3, "holds something else", "VYRun"},
        {{"9"}, 3, "holds something else", "VYRun"},
        {{"10"}, 3, "is none of ours", "VYRun"},
        {{"7"}, 1, "", nullptr},  // each row fails, and there are few
    };
    for (const auto& c : cases) {
        const auto run = app.Run(c.arguments);
        EXPECT_EQ(run.exit_code, c.code) << c.reason << run.errors;
        EXPECT_TRUE(Has(run.errors, c.reason));
        if (c.log != nullptr) {
            EXPECT_TRUE(Has(app.Log(c.log), c.reason)) << c.log;
        }
    }
    EXPECT_EQ(app.Folder().Read("other.txt"), "kept");
    EXPECT_EQ(app.Folder().Read("letter.txt"), "\r\nDear Sir\r\n");
    EXPECT_EQ(ModeOf(app.Path("letter.txt")), 0644U);
    EXPECT_EQ(app.Folder().Read("package.json"), "{\n  \"name\": 1}");
    EXPECT_EQ(NumberIn(app.Summary("no_tables"), "exitCode"), 3);
    DeleteSession(4);
    EXPECT_EQ(app.Log("no_tables") + app.Summary("no_tables"), "");
    DeleteSession(10);
    EXPECT_TRUE(fs::exists(app.Path("package.json")));
    EXPECT_EQ(app.Folder().Read("out.mdb").substr(0, 2048), database.substr(0, 2048));
    EXPECT_EQ(NumberIn(app.Summary("no_target"), "exitCode"), 3);
    fs::remove(RepositoryFile(app.Folder().Path().string()));
    const auto without = app.Run({"1"});
    EXPECT_EQ(without.exit_code, 3);
    EXPECT_TRUE(Has(without.errors, "There is no repository"));
}

// A save that fails or is killed in the middle leaves its rows, its schedule among them.
TEST(VYRun, ASessionThatIsHalfSavedWaitsForItsRestAndDoesntRunWithoutIt) {
    const Application app;
    app.SaveOrders("half", 5);
    RunStatement(RepoConnStr, "update srcdcols set sessionid=2 where scname=\"name\"");
    const auto alone = app.Run({"1"});
    EXPECT_EQ(alone.exit_code, 3) << alone.errors;
    EXPECT_TRUE(Has(alone.errors, "has 1 of its 2 columns"));
    EXPECT_EQ(app.RowsIn("out.mdb", "orders"), -1);
    auto saving = ProgramLock::Take(app.Path("log/session_save.lock"));
    ASSERT_TRUE(saving);
    auto run = app.Start("VYRun", {"1"});
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_TRUE(run.IsRunning());
    RunStatement(RepoConnStr, "update srcdcols set sessionid=1 where sessionid=2");
    saving.reset();
    EXPECT_EQ(run.Wait().exit_code, 0);
    EXPECT_EQ(app.RowsIn("out.mdb", "orders"), 5);
}

TEST(VYRun, ACancelEndsTheRunWithItsRecordAndASecondRunIsRefusedMeanwhile) {
    const Application app;
    app.SaveOrders("long", 1'000'000);
    app.Folder().Write("log/long.log.json", "{\n  \"session\": 1");  // of an older run
    auto run = app.Start("VYRun", {"1"});
    ASSERT_TRUE(
        Within(20, [&] { return app.Log("long").find("About to Insert") != app.Log("").npos; }));
    run.Signal(SIGSTOP);  // however slow the second one is
    EXPECT_EQ(app.Run({"1"}).exit_code, 6);
    EXPECT_EQ(app.Summary("long"), "");
    run.Signal(SIGTERM);
    run.Signal(SIGCONT);
    const auto ended = run.Wait();
    EXPECT_EQ(ended.exit_code, 5) << ended.errors;
    const std::string log = ReadableLog(app.Log("long"));
    EXPECT_TRUE(Has(log, "User Requested to cancel loading Time Elapsed :E\nEnd Time is :T"));
    EXPECT_EQ(NumberIn(app.Summary("long"), "exitCode"), 5);
    EXPECT_EQ(NumberIn(app.Summary("long"), "rowsLoaded"), app.RowsIn("out.mdb", "orders"));
    EXPECT_EQ(ListSessions().at(0).LastRunDate, ShortDate(Now()));
}

// A server that says nothing has a quarter of a minute, which nothing but the signal ends.
TEST(VYRun, ACancelEndsAWaitForAServer) {
    const QuietPort server;
    const Application app;
    app.SaveOrders("wait", 2);
    RunStatement(RepoConnStr,
                 "update sessions set TargetType='MySQL', TargetConnStr='DRIVER={MySQL ODBC 3.51 "
                 "Driver};SERVER=127.0.0.1;PORT=" +
                     std::to_string(server.Port()) + "'");
    auto run = app.Start("VYRun", {"1"});
    ASSERT_TRUE(Within(20, [&] { return fs::exists(app.Path("log/wait.log")); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const auto start = std::chrono::steady_clock::now();
    run.Signal(SIGTERM);
    EXPECT_EQ(run.Wait().exit_code, 5) << app.Log("wait");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

// The table is made and loaded, and the disk of the repository is full: the next run must not find
// its own table in its way.
TEST(VYRun, ARunWhoseRecordCouldntBeWrittenIsKnownToTheNextOne) {
    const auto run_on_full_disk = [](const Application& app, int last) {
        FullDisk disk("epo.mdb", 1, last);
        const InstalledPlan installed(disk);
        RunnerSurroundings surroundings;
        surroundings.application_folder = app.Folder().Path().string();
        surroundings.cancel_requested = [] { return false; };
        surroundings.tell = [](const std::string&) {};
        return RunSavedSession(1, surroundings);
    };
    {
        // Full at the table's creation alone: the record at the end makes up for it.
        const Application polled;
        polled.SavePoll();
        EXPECT_EQ(run_on_full_disk(polled, 1), kRunWhole) << polled.Log("poll");
        EXPECT_EQ(RowsOf(RepoConnStr, "select TableExists from vytabs"), "True\n");
    }
    const Application app;
    app.SaveOrders("unrecorded", 300);
    EXPECT_EQ(run_on_full_disk(app, 1'000'000), kRunWithErrors);
    const auto again = app.Run({"1"});
    EXPECT_EQ(again.exit_code, 0) << again.errors << app.Log("unrecorded");
    EXPECT_EQ(app.RowsIn("out.mdb", "orders"), 600);
}

// The moments between a change of the target and its record are too short to be hit by a kill: they
// are set up by hand.
TEST(VYRun, WhatADeadRunLeftInTheTargetDoesntStopTheNextOne) {
    const std::tuple<const char*, const char*, std::int64_t> cases[] = {
        {"TableExists=0,FirstTimeLoadOpt=\"CREATE\"", "delete from [orders]", 5},
        {"LoadOption=\"DROP\"", "drop table [orders]", 5},
        {"LoadOption=\"DROP\"", "delete from [orders] where id=1", 5},
    };
    for (const auto& [in_repository, in_target, rows] : cases) {
        for (const std::string mark : {"unfinished\n", "table gone\n", ""}) {
            const Application app;
            app.SaveOrders("died", 5);
            EXPECT_EQ(app.Run({"1"}).exit_code, 0);
            RunStatement(RepoConnStr, std::string("update vytabs set ") + in_repository);
            RunStatement(TargetConnStr, in_target);
            if (!mark.empty()) {
                app.Folder().Write("log/session1.lock", mark);
            }
            const bool gone = std::string(in_target).starts_with("drop");
            const bool whole = mark == "unfinished\n" || (gone && !mark.empty()) ||
                               std::string(in_target).ends_with("id=1");
            EXPECT_EQ(app.Run({"1"}).exit_code, whole ? 0 : 2) << in_target << app.Log("died");
            if (whole) {
                EXPECT_EQ(app.RowsIn("out.mdb", "orders"), rows) << in_target;
                continue;
            }
            // A run that came to its end without its table doesn't fail for ever after; a table
            // that isn't the session's own is left alone.
            EXPECT_EQ(app.Run({"1"}).exit_code, gone ? 0 : 2) << in_target << app.Log("died");
            EXPECT_EQ(app.RowsIn("out.mdb", "orders"), gone ? rows : 0) << in_target;
        }
    }
}

TEST(VYRun, AWindowStaysAndNeitherAReaderNorADisplayThatIsGoneKeepsTheRunFromItsEnd) {
    const Application app;
    app.SaveOrders("shown", 50);
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    auto run = app.Start("VYRun", {"1", "ShowOutput"});
    ::unsetenv("QT_QPA_PLATFORM");
    EXPECT_TRUE(Within(20, [&] { return !app.Summary("shown").empty(); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_TRUE(run.IsRunning());
    run.Signal(SIGTERM);
    const auto outcome = run.Wait();
    EXPECT_EQ(outcome.exit_code, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "");

    ::setenv("DISPLAY", ":7777", 1);
    const auto without_display = app.Run({"1", "ShowOutput"});
    ::unsetenv("DISPLAY");
    EXPECT_EQ(without_display.exit_code, 0) << without_display.errors;
    EXPECT_TRUE(Has(without_display.output, "50 Rows Loaded"));

    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ::close(ends[0]);
    const std::string command = app.Path("VYRun") + " 1 ShowOutput >&" + std::to_string(ends[1]);
    const int status = std::system(command.c_str());
    ::close(ends[1]);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(app.RowsIn("out.mdb", "orders"), 150);
}

TEST(VYRun, ADisplayThatDiesInTheMiddleIsNoRunThatHasFinished) {
    const std::string server = "/usr/bin/Xvfb";
    ASSERT_TRUE(fs::exists(server)) << "The Debian package xvfb isn't installed.";
    const Application app;
    app.SaveOrders("shown", 2'000'000);
    // A number of its own: servers that look for a free one at the same moment may find the same.
    const std::string number = std::to_string(1000 + ::getpid() % 20000);
    Running display({server, ":" + number, "-nolisten", "tcp"}, app.Folder() / "display");
    ASSERT_TRUE(Within(20, [&] { return fs::exists("/tmp/.X11-unix/X" + number); }));
    ::setenv("DISPLAY", (":" + number).c_str(), 1);
    auto run = app.Start("VYRun", {"1", "ShowOutput"});
    ::unsetenv("DISPLAY");
    const auto inserts = [&] {
        return app.Log("shown").find("About to Insert") != std::string::npos;
    };
    ASSERT_TRUE(Within(20, inserts)) << app.Log("shown");
    display.Signal(SIGKILL);
    EXPECT_EQ(run.Wait().exit_code, 2);
    EXPECT_TRUE(Has(app.Log("shown"), "display"));
    EXPECT_EQ(app.Run({"1"}).exit_code, 0);
}

TEST(VYRun, ARepositoryThatEveryoneCanWriteIsWarnedOf) {
    const Application app;
    app.SaveOrders("open", 5);
    const auto repository = RepositoryFile(app.Folder().Path().string());
    ASSERT_EQ(::getuid(), 0U) << "only root can give the file to another group";
    ASSERT_EQ(::chown(repository.c_str(), 0, 12345), 0);
    ::chmod(repository.c_str(), 0660);
    EXPECT_TRUE(Has(app.Run({"1"}).errors, "Warning: everyone of its group can change"));
    ASSERT_EQ(::chown(repository.c_str(), 0, 0), 0);
    EXPECT_EQ(app.Run({"1"}).errors, "");  // the owner's own group
    ::chmod(repository.c_str(), 0666);
    const auto run = app.Run({"1"});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_TRUE(Has(run.errors, "Warning: everyone can change the repository"));
    EXPECT_TRUE(Has(app.Log("open"), "Warning: everyone can change"));
}

}  // namespace
}  // namespace vantry::test
