#include "engine/loaded_file.h"
#include "engine/run_report.h"
#include "engine/session_fixture.h"
#include "programs/application.h"
#include "repository/poll_folder.h"
#include "repository/polled_run.h"
#include "support/has.h"
#include "support/session_steps.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <thread>

namespace vantry::test {
namespace {

namespace fs = std::filesystem;

// Sets a file's time of change to `seconds` before now.
void MakeOlder(const fs::path& file, double seconds) {
    fs::last_write_time(file,
                        fs::file_time_type::clock::now() -
                            std::chrono::milliseconds(static_cast<int>(seconds * 1000)));
}

int CountLoaded(const Application& app) {
    return static_cast<int>(std::ranges::count_if(app.Folder().Names("in"), [](const auto& name) {
        return name.find(".csv.Loaded_On_") != name.npos;
    }));
}

TEST(PolledFolder, NamesMatchAsFileSystemsDo) {
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"orders.csv", "*.csv", true},
        {"ORDERS.CSV", "*.csv", true},
        {"orders.csv.bak", "*.csv", false},
        {"orders", "*.*", true},
        {"orders", "*", true},
        {"a1.csv", "a?.csv", true},
        {"a12.csv", "a?.csv", false},
        {"[1].csv", "[1].csv", true},
        {"1.csv", "[1].csv", false},
        {".hidden.csv", "*.csv", false},
        {"a\\b.csv", "a\\b.csv", true},
        {"Åre.csv", "åre.*", true},
    };
    for (const auto& [name, pattern, matches] : cases) {
        EXPECT_EQ(MatchesPattern(name, pattern), matches) << name << " " << pattern;
    }
    EXPECT_TRUE(IsLoadedName("a.csv.Loaded_On_15_Nov_26_19_3_08", "Loaded"));
    EXPECT_FALSE(IsLoadedName("Loaded_On.csv", "Loaded"));
}

TEST(PolledFolder, OldestWholeFilesComeFirstAndEachOnce) {
    const TempDir folder;
    double age = 100;
    for (const char* name : {"c.csv", "a.csv", "b.csv"}) {
        MakeOlder(folder.Write(name, "x\n"), age--);
    }
    for (const char* name : {"Schema.ini", "d.partial", "e.csv.Loaded_On_1", "f.txt"}) {
        MakeOlder(folder.Write(name, "x\n"), 50);
    }
    fs::create_directory(folder / "dir.csv");
    fs::create_symlink(folder / "f.txt", folder / "link.csv");
    const int writer = ::open((folder / "b.csv").c_str(), O_WRONLY);
    MakeOlder(folder.Write("new.csv", "x\n"), 0);  // whole, and too young to tell
    PollWalk walk(folder.Path().string(), "*.*", "Loaded");
    PolledFile file;
    std::string order;
    while (walk.Next(file)) {
        order += file.name + " ";
        if (file.name == "c.csv") {
            MakeOlder(folder.Write("late.csv", "x\n"), 3);
            MakeOlder(folder.Write("a.csv", "x\ny\n"), 0);  // was whole when it was found
        }
    }
    EXPECT_EQ(order, "c.csv f.txt late.csv new.csv a.csv ");
    EXPECT_EQ(walk.Waiting(), std::vector<std::string>{"b.csv"});
    ::close(writer);
    // What a program writes piece by piece, each time opening it anew, is no whole file either.
    std::atomic<bool> stop = false;
    std::thread grower([&] {
        while (!stop) {
            std::ofstream(folder / "grow.csv", std::ios::app) << "x\n";
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    });
    PollWalk again(folder.Path().string(), "grow*", "Loaded");
    EXPECT_TRUE(Within(5, [&] { return fs::exists(folder / "grow.csv"); }));
    EXPECT_FALSE(again.Next(file));
    EXPECT_EQ(again.Waiting(), std::vector<std::string>{"grow.csv"});
    stop = true;
    grower.join();
}

// Of another's file the system doesn't tell who writes it.
TEST(PolledFolder, AFileOfSomebodyElseMayPauseInItsUpload) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "Only root can make files of two users.";
    }
    constexpr uid_t kSomebody = 65534;
    const TempDir folder;
    fs::permissions(folder.Path(), fs::perms::all);
    MakeOlder(folder.Write("paused.csv", "x\n"), 10);
    MakeOlder(folder.Write("whole.csv", "x\n"), 60);
    for (const char* name : {"paused.csv", "whole.csv"}) {
        fs::permissions(folder / name, fs::perms::all);
    }
    ASSERT_EQ(::seteuid(kSomebody), 0);
    PollWalk walk(folder.Path().string(), "*.csv", "Loaded");
    std::string order;
    for (PolledFile file; walk.Next(file);) {
        order += file.name + " ";
    }
    ASSERT_EQ(::seteuid(0), 0);
    EXPECT_EQ(order, "whole.csv ");
    EXPECT_EQ(walk.Waiting(), std::vector<std::string>{"paused.csv"});
}

TEST(PolledFolder, FiveHundredFilesLoadOnceEachWhileOthersArrive) {
    const Application app;
    const std::string id = std::to_string(app.SavePoll());
    constexpr int kThere = 400;
    constexpr int kArriving = 100;
    constexpr int kRows = 20;
    int next = 4;
    const auto drop = [&](int number) {
        // As a careful sender does, and as the others do: in its place from the first byte on.
        const std::string text = NumberedRows(kRows, next);
        const std::string name = "in/f" + std::to_string(number) + ".csv";
        next += kRows;
        if (number % 2 == 0) {
            app.Folder().Write("in/.tmp", text);
            fs::rename(app.Path("in/.tmp"), app.Path(name));
        } else {
            std::ofstream out(app.Path(name), std::ios::binary);
            for (std::size_t at = 0; at < text.size(); at += 100) {
                out << text.substr(at, 100) << std::flush;
                if (number >= kThere) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(2));
                }
            }
        }
    };
    for (int k = 0; k < kThere; ++k) {
        drop(k);
    }
    auto run = app.Start("VYRun", {id});
    for (int k = kThere; k < kThere + kArriving; ++k) {
        drop(k);
    }
    const auto first = run.Wait();
    EXPECT_EQ(first.exit_code, 0) << first.errors << app.Log("poll").substr(0, 2000);
    // What came too late for the first run is the second one's.
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    const auto second = app.Run({id});
    EXPECT_EQ(second.exit_code, 0) << second.errors;
    EXPECT_EQ(CountLoaded(app), kThere + kArriving + 1);
    EXPECT_EQ(app.Folder().Names("in").size(), std::size_t{kThere + kArriving + 2});
    EXPECT_EQ(RowsOf(TargetConnStr,
                     "select count(*), min(n), max(n) from "
                     "(select count(*) as n from sample group by id)"),
              std::to_string((kThere + kArriving) * kRows + 3) + "|1|1\n");
}

TEST(PolledFolder, EachFileIsReadByTheLayoutOfTheSampleAndOneThatFailsStays) {
    const Application app;
    app.Folder().Write("in/sample.csv", "id;name\n1;'a;b'\n");
    app.FromText("sample.csv", "TEXTPOLL");
    SrcTables[0].SFormat = ";";
    SrcTables[0].TextQ = "'";
    fs::remove(app.Path("in/Schema.ini"));
    WriteSchemaIni(app.Path("in"), SrcTables, {1, ""}, kPolledFileScanRows);
    PollRename = "done";
    app.ToAccess("out.mdb");
    // A table that is there already, to be emptied by the first file alone.
    RunStatement(TargetConnStr, "create table [sample] ([id] long, [name] text(50))");
    RunStatement(TargetConnStr, "insert into [sample] values (99, 'old')");
    app.Save("poll");
    RunStatement(RepoConnStr, "update vytabs set loadoption=\"DELETE\"");
    MakeOlder(app.Path("in/sample.csv"), 30);
    MakeOlder(app.Folder().Write("in/bad.csv", "other;columns\n1;2\n"), 20);
    MakeOlder(app.Folder().Write("in/it's.csv", "id;name\n2;'c;d'\n3;e\n"), 10);
    const auto run = app.Run({"1"});
    EXPECT_EQ(run.exit_code, 2) << run.errors << app.Log("poll");
    EXPECT_EQ(app.RowsIn("out.mdb", "sample"), 3) << app.Log("poll");
    std::string names;
    for (const auto& name : app.Folder().Names("in")) {
        names += name.substr(0, name.find("_On_")) + " ";
    }
    EXPECT_EQ(names, "Schema.ini bad.csv it's.csv.done sample.csv.done ");
    const std::string summary = app.Summary("poll");
    EXPECT_TRUE(Has(summary, "it's.csv"));
    EXPECT_TRUE(Has(summary, "given up"));
    // Nothing but the bad file is left.
    EXPECT_EQ(app.Run({"1"}).exit_code, 2);
    fs::remove(app.Path("in/bad.csv"));
    EXPECT_EQ(app.Run({"1"}).exit_code, 0);
    EXPECT_TRUE(Has(app.Log("poll"), "No file in"));
}

using LoadsOfAFolder = SessionTest;

// The first file that gets so far drops the target; those behind it add to the new one by the
// source's names.
TEST_F(LoadsOfAFolder, ShareOneTargetAndTellWhatChangedMeanwhile) {
    const TempDir folder;
    PollFolder = folder.Path().string();
    PollPattern = "*.csv";
    PollRename = "done";
    SrcTables[0].LoadOption = DstTables[0].LoadOption = "DROP";
    MapColumn("id");
    for (const int k : {4, 3, 2, 1}) {
        MakeOlder(folder.Write(std::to_string(k) + ".csv", "1\n"), 50 - k);
    }
    std::string loads;
    const auto load = [&] {
        const std::string name = SrcTables[0].Name;
        loads += name + SrcTables[0].LoadOption + ColMaps[0].DCName + " ";
        StartRunReport();
        ReportOf(0).Outcome = name == "1.csv"   ? TableOutcome::NotPrepared
                              : name == "4.csv" ? TableOutcome::GivenUp
                                                : TableOutcome::Loaded;
        if (name == "2.csv") {
            std::ofstream(folder / name, std::ios::app) << "2\n";
        }
        if (ReportOf(0).Outcome == TableOutcome::Loaded) {
            MoveLoadedFile(name);
        }
    };
    const auto run = [&] {
        PolledRun polled(
            load, [] { return false; }, (folder / "note").string());
        polled.LoadAll();
        return polled.Faults();
    };
    EXPECT_EQ(run(), 1);
    EXPECT_EQ(loads, "1.csvDROPd_id 2.csvDROPd_id 3.csvAPPENDs_id 4.csvAPPENDs_id ");
    EXPECT_TRUE(LogHas("2.csv has changed"));
    view.log.clear();
    fs::remove(folder / "1.csv");
    EXPECT_EQ(run(), 0);
    EXPECT_FALSE(LogHas("former run")) << Log();
}

// A file that were loaded without getting its new name would be loaded again by each later run.
TEST(PolledFolder, WhatCouldntGetItsNewNameIsntLoaded) {
    const Application app;
    app.Folder().Write("in/sample.csv", NumberedRows(2));
    app.FromText("sample.csv", "TEXTPOLL");
    app.ToAccess("out.mdb");
    app.Save("long");
    const std::string ending = LoadedEnding();
    PollRename = "done/by us";
    app.Save("nowhere");
    MakeOlder(app.Path("in/sample.csv"), 5);
    const auto nowhere = app.Run({"2"});
    EXPECT_EQ(nowhere.exit_code, 3) << app.Log("nowhere");
    EXPECT_TRUE(Has(nowhere.errors, "done/by us"));
    EXPECT_EQ(app.RowsIn("out.mdb", "sample"), -1);
    // What a former run noted can't be read: it may say that the file has been loaded.
    const auto note = app.Path("log/session1.lock.polled");
    fs::create_symlink(note, note);
    EXPECT_EQ(app.Run({"1"}).exit_code, 3) << app.Log("long");
    EXPECT_EQ(app.RowsIn("out.mdb", "sample"), -1);
    fs::remove(note);
    // Its new name would have room as long as the minute gets no second digit; behind minute 59 it
    // loses one.
    const std::size_t room = NAME_MAX - ending.size() + (Has(ending, "_59_") ? 1 : 0);
    const std::string long_name = "in/" + std::string(room - 4, 'x') + ".csv";
    MakeOlder(app.Folder().Write(long_name, NumberedRows(2, 3)), 9);
    // A name that isn't text, as other systems leave it.
    MakeOlder(app.Folder().Write("in/gr\xFC\xDF.csv", NumberedRows(2, 5)), 8);
    const auto run = app.Run({"1"});
    EXPECT_EQ(run.exit_code, 2) << app.Log("long");
    EXPECT_TRUE(Has(app.Log("long"), "name is too long"));
    EXPECT_TRUE(fs::exists(app.Path(long_name)));
    EXPECT_EQ(app.RowsIn("out.mdb", "sample"), 4) << app.Log("long");
    EXPECT_EQ(CountLoaded(app), 2);
    const auto read_json =
        "python3 -m json.tool '" + app.Path("log/long.log.json") + "' >/dev/null";
    EXPECT_EQ(std::system(read_json.c_str()), 0) << app.Summary("long");
}

TEST(PolledFolder, ATextTargetHasAFilePerPolledFile) {
    const Application app;
    app.Folder().Write("in/sample.csv", NumberedRows(2));
    app.FromText("sample.csv", "TEXTPOLL");
    app.ToText("out");
    app.Save("poll");
    MakeOlder(app.Path("in/sample.csv"), 5);
    MakeOlder(app.Folder().Write("in/more.csv", NumberedRows(2, 3)), 4);
    const auto run = app.Run({"1"});
    EXPECT_EQ(run.exit_code, 0) << run.errors << app.Log("poll");
    EXPECT_TRUE(Has(app.Folder().Read("out/sample.csv.tab"), "name 2"));
    EXPECT_TRUE(Has(app.Folder().Read("out/more.csv.tab"), "name 4"));
    EXPECT_EQ(CountLoaded(app), 2);
    EXPECT_EQ(ListSessions().at(0).LastRunDate, ShortDate(Now()));
}

TEST(PolledFolder, ACancelLetsTheFileThatIsBeingLoadedComeToItsEnd) {
    const Application app;
    app.SavePoll();
    constexpr int kRows = 20'000;
    const std::string text = NumberedRows(kRows);
    for (int k = 0; k < 300; ++k) {
        const auto file = app.Folder().Write("in/f" + std::to_string(k) + ".csv", text);
        MakeOlder(file, 10);
    }
    MakeOlder(app.Path("in/sample.csv"), 20);
    auto run = app.Start("VYRun", {"1"});
    ASSERT_TRUE(Within(20, [&] { return CountLoaded(app) > 5; }));
    EXPECT_EQ(RowsOf(RepoConnStr, "select TableExists from vytabs"), "True\n");  // at once
    run.Signal(SIGINT);
    EXPECT_EQ(run.Wait().exit_code, 5);
    const int loaded = CountLoaded(app);
    EXPECT_LT(loaded, 301);
    EXPECT_EQ(app.RowsIn("out.mdb", "sample"), 3 + (loaded - 1) * kRows);
}

// The first lets the file come to its end; who sends another means it.
TEST(PolledFolder, ASecondSignalOfEitherKindEndsAtOnce) {
    for (const auto& [first, second] : {std::pair{SIGTERM, SIGINT}, {SIGINT, SIGTERM}}) {
        const Application app;
        app.SavePoll();
        MakeOlder(app.Folder().Write("in/long.csv", NumberedRows(3'000'000)), 10);
        MakeOlder(app.Path("in/sample.csv"), 20);
        auto run = app.Start("VYRun", {"1"});
        // Between two files one signal ends the run; two that wait are taken in the system's order.
        ASSERT_TRUE(Within(20, [&] { return Has(app.Log("poll"), "from long.csv"); }));
        run.Signal(first);
        const auto status = "/proc/" + std::to_string(run.Pid()) + "/status";
        ASSERT_TRUE(Within(
            20, [&] { return Has(app.Folder().Read(status), "ShdPnd:\t0000000000000000"); }));
        std::this_thread::sleep_for(std::chrono::milliseconds(100));  // for its handler
        run.Signal(second);
        EXPECT_EQ(run.Wait().exit_code, 128 + second);
    }
}

}  // namespace
}  // namespace vantry::test
