// Every run's books balance, whatever goes wrong in it: rows of the source are the growth of the
// target and the rows that failed, and exit code, summary and log say the same.

#include "data/value_text.h"
#include "engine/run_report.h"
#include "engine/session_fixture.h"
#include "engine/table_load.h"
#include "files/file_lock.h"
#include "repository/repository.h"
#include "repository/run_log_file.h"
#include "repository/session_runner.h"
#include "support/child_process.h"
#include "support/fault_plans.h"
#include "support/has.h"
#include "support/session_steps.h"
#include "support/temp_dir.h"
#include "text/text_source.h"

#include <sys/resource.h>

#include <csignal>
#include <fstream>
#include <set>
#include <thread>

namespace vantry::test {
namespace {

namespace fs = std::filesystem;

constexpr int kRows = 260;

struct Route {
    const char* name;
    const char* target;
    int text_type;
    const char* writes;  // the operation by which rows reach the target
};
constexpr Route kRoutes[] = {{"statement", "ACCESS", adVarWChar, "ExecutePrepared"},
                             {"recordset", "ACCESS", adLongVarWChar, "Append"},
                             {"batches", "MySQL", adVarWChar, "Execute"},
                             {"text", "TEXT", adVarWChar, ""}};

class Ledger : public SessionTest {
protected:
    Ledger() {
        const NoSync plan;
        InitSharedState(folder.Path().string());
        CreateRepository(folder.Path().string(), Now());
        std::filesystem::create_directory(folder / "out");
    }

    // A session of one table, of that kind of target, with the columns of an integer and a text.
    void SaveSessionTo(const std::string& target_type,
                       int text_type,
                       const std::string& target_string = "Provider=target") {
        SourceType = "ODBC";
        TargetType = target_type;
        SourceConnStr = "Provider=source";
        TargetConnStr = target_string;
        SetTextTarget(folder / "out");
        SrcTables.clear();
        DstTables.clear();
        AddTable("src", target_type == "TEXT" ? (folder / "out/dst.txt").string() : "dst");
        ClearTable();
        FillSource(kRows, text_type);
        id = SaveDaily(folder / "log/ledger.log");
    }

    RunnerExit Run() { return RunIn(folder.Path(), id); }
    RunnerExit RunIn(const fs::path& place, i32 session) {
        RunnerSurroundings surroundings;
        surroundings.application_folder = place.string();
        surroundings.version = "1";
        surroundings.display = &view;
        surroundings.cancel_requested = [] { return false; };
        surroundings.tell = [this](const std::string& line) { told += line + "\n"; };
        return RunSavedSession(session, surroundings);
    }
    // With an empty table for the session.
    static std::string NewAccess(const fs::path& file) {
        return NewAccessDatabase(file, {"create table dst (d_id long, d_name memo, d_memo memo)"});
    }
    static i32 SaveDaily(const fs::path& log) {
        SessionSave save;
        save.SesName = "ledger";
        save.LogName = log.string();
        SetDaily(save, {0, 0});
        return SaveSession(save);
    }

    // Rows that the target has in the end.
    std::int64_t Growth() const {
        if (TargetType == "TEXT") {
            const std::string text = folder.Read("out/dst.txt");
            return std::max<std::int64_t>(std::count(text.begin(), text.end(), '\n') - 1, 0);
        }
        std::int64_t rows = static_cast<std::int64_t>(target->taken.size());
        for (std::size_t k = 0; k < target->statements.size(); ++k) {
            if (target->statements[k].starts_with("INSERT") &&
                !refused.contains(static_cast<int>(k) + 1)) {
                rows += Count(target->statements[k], "),(") + 1;
            }
        }
        return rows;
    }

    void RequireBalance(const std::string& what, RunnerExit code, RunnerExit expected) {
        EXPECT_EQ(code, expected) << what << "\n" << told << view.log.substr(0, 1500);
        const auto& tables = CurrentRunReport.Tables;
        ASSERT_EQ(tables.size(), 1U) << what;
        const auto& table = tables[0];
        EXPECT_EQ(table.RowsLoaded, Growth()) << what;
        EXPECT_LE(table.RowsRead, kRows) << what;
        if (code == kRunWhole || code == kRunWithErrors) {
            EXPECT_EQ(table.RowsRead, kRows) << what;
        }
        EXPECT_GE(table.RowsFailed(), 0) << what;
        EXPECT_EQ(code == kRunWhole, table.Errors == 0 && table.Outcome == TableOutcome::Loaded)
            << what;
        EXPECT_EQ(table.Errors, LoggedErrors()) << what;
        const std::string summary = folder.Read("log/ledger.log.json");
        for (const auto& [name, number] : {std::pair<const char*, std::int64_t>{"exitCode", code},
                                           {"rowsRead", table.RowsRead},
                                           {"rowsLoaded", table.RowsLoaded},
                                           {"rowsFailed", table.RowsFailed()}}) {
            EXPECT_TRUE(Has(summary, "\"" + std::string(name) + "\": " + std::to_string(number)))
                << what;
        }
        EXPECT_EQ(folder.Read("log/ledger.log"), view.log) << what;
    }

    void Try(const Route& route,
             const std::string& name,
             RunnerExit expected,
             const std::function<void()>& plant) {
        view = RecordingView();
        told.clear();
        refused.clear();
        for (const auto& driver : {source, target}) {
            driver->before = nullptr;
            driver->calls.clear();
            driver->statements.clear();
        }
        target->taken.clear();
        std::filesystem::remove(folder / "out/dst.txt");
        std::filesystem::remove(folder / "out/dst.txt.partial");
        SaveSessionTo(route.target, route.text_type);
        plant();
        RequireBalance(std::string(route.name) + ", " + name, Run(), expected);
        ++cases;
    }
    void RefuseFrom(const char* operation, int first, int last) {
        for (int k = first; k <= last; ++k) {
            refused.insert(k);
        }
        target->before = [=](std::string_view name, int number) {
            if (name == operation && number >= first && number <= last) {
                throw DataError(kErrUnspecified, "refused");
            }
        };
    }

    const TempDir folder{MemoryFolder(), "vantry"};
    i32 id = 0;
    int cases = 0;
    std::set<int> refused;  // numbers of the target's statements
    std::string told;
};

TEST_F(Ledger, RowsOfTheSourceAreGrowthOfTheTargetAndFailedRows) {
    for (const auto& route : kRoutes) {
        const bool batches = route.target == std::string("MySQL");
        const bool text = route.target == std::string("TEXT");
        Try(route, "nothing wrong", kRunWhole, [] {});
        for (const int row : {1, 49, 50, 51, kRows}) {
            Try(route, "unreadable row " + std::to_string(row), kRunWithErrors, [&] {
                source->rows[static_cast<std::size_t>(row) - 1][1] = Unreadable();
                if (batches) {  // the server refuses what the row has spoilt
                    RefuseFrom("Execute", (row + 99) / 100, (row + 99) / 100);
                }
            });
        }
        if (!text) {
            for (const int row : {1, 49, 50, 51, kRows}) {
                Try(route, "refused row " + std::to_string(row), kRunWithErrors, [&] {
                    const int number = batches ? (row + 99) / 100 : row;
                    RefuseFrom(route.writes, number, number);
                });
            }
            Try(route, "target dies", batches ? kRunWithErrors : kRunTableLost, [&] {
                RefuseFrom(route.writes, batches ? 2 : 30, 100'000);
            });
        }
        for (const int row : {1, 50, kRows}) {
            Try(route, "source dies at " + std::to_string(row), kRunTableLost, [&] {
                source->FailFrom("Next", row + 1, "gone");
            });
        }
        Try(route, "source gone after the first look", kRunTableLost, [&] {
            source->FailFrom("Connect", 2, "gone");
        });
        for (const int hand_over : {1, 3}) {
            Try(route, "cancel at hand-over " + std::to_string(hand_over), kRunCancelled, [&] {
                view.cancel_at_event = hand_over;
            });
        }
    }
    EXPECT_GE(cases, 60);
}

// The target has every row, and a line of the log is missing: no whole success.
TEST_F(Ledger, ALogThatCouldntBeWrittenIsNoWholeSuccess) {
    SaveSessionTo("ACCESS", adVarWChar);
    EXPECT_EQ(Run(), kRunWhole);
    AddTable("src2", "dst2");
    MapColumn("id");
    id = SaveDaily(folder / "log/ledger.log");
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit unlimited{};
    ::getrlimit(RLIMIT_FSIZE, &unlimited);
    // From the first row of the first table to the first of the second.
    int moves = 0;
    source->before = [&](std::string_view name, int) {
        if (name != "Next") {
            return;
        }
        const rlimit small{16, unlimited.rlim_max};
        ++moves;
        if (moves == 5 || moves == kRows + 10) {
            ::setrlimit(RLIMIT_FSIZE, moves == 5 ? &small : &unlimited);
        }
    };
    const auto code = Run();
    // Its first words are torn: they come again, or the next run would take it for somebody's.
    source->before = [&](std::string_view name, int) {
        if (name == "Next") {
            ::setrlimit(RLIMIT_FSIZE, &unlimited);
        }
    };
    const rlimit small{16, unlimited.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_EQ(Run(), kRunWithErrors);
    ::setrlimit(RLIMIT_FSIZE, &unlimited);
    ::signal(SIGXFSZ, SIG_DFL);
    EXPECT_TRUE(HoldsSessionLog((folder / "log/ledger.log").string()));
    EXPECT_EQ(code, kRunWithErrors);
    EXPECT_TRUE(Has(told, "is incomplete"));
    EXPECT_EQ(CurrentRunReport.Tables.at(1).RowsFailed(), 0);
    EXPECT_TRUE(Has(folder.Read("log/ledger.log.json"), "\"exitCode\": 1"));
}

// Another program has the target open for writing: a stall costs nothing, and a lasting lock one
// wait for the whole run, not one for each row.
TEST_F(Ledger, ATargetThatAnotherProgramHoldsIsWaitedForOnce) {
    const std::string path = (folder / "held.mdb").string();
    const std::string connection = NewAccess(path);
    const auto former_timeout = file::LockTimeout();
    const auto former_patience = TargetPatience;
    file::SetLockTimeout(std::chrono::milliseconds(50));
    std::thread holder;
    const auto hold = [&](int milliseconds) {
        auto file = std::make_shared<file::File>(file::File::Open(path, file::OpenMode::ReadWrite));
        // Once the rows before are committed, which comes by the clock.
        file::LockPatiently(
            *file, file::LockByte::Writer, file::LockKind::Exclusive, std::chrono::seconds(20));
        holder = std::thread([file, milliseconds] {
            std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
        });
    };
    for (const int type : {adVarWChar, adLongVarWChar}) {
        for (const bool lasts : {false, true}) {
            SaveSessionTo("ACCESS", type, connection);
            TargetPatience = std::chrono::duration<double>(lasts ? 0.3 : 30);
            int moves = 0;
            source->before = [&](std::string_view name, int) {
                if (name == "Next" && ++moves == 100) {
                    hold(lasts ? 3000 : 700);
                }
            };
            const auto start = std::chrono::steady_clock::now();
            const auto code = Run();
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
            ASSERT_TRUE(holder.joinable());
            holder.join();
            const auto& report = CurrentRunReport.Tables.at(0);
            EXPECT_EQ(code, lasts ? kRunTableLost : kRunWhole) << view.log.substr(0, 800);
            EXPECT_EQ(report.Errors, lasts ? 1 : 0);
            EXPECT_GT(report.WaitedSeconds, lasts ? 0.25 : 0.1);
            EXPECT_LT(took.count(), lasts ? 2.5 : 30.0);
            EXPECT_EQ(lasts, view.log.find("is in use by") != std::string::npos);
            EXPECT_EQ(report.RowsLoaded, lasts ? report.RowsRead - 1 : kRows);
        }
    }
    file::SetLockTimeout(former_timeout);
    TargetPatience = former_patience;
}

// Somebody deletes, replaces or cuts the target under the run: that isn't a table with a few bad
// rows, and never one that is loaded. What had been loaded into the same file before is in doubt.
TEST_F(Ledger, ATargetThatIsTakenAwayEndsTheTableWithNoRowLoaded) {
    const std::string mdb = (folder / "taken.mdb").string();
    const std::string fox = (folder / "fox").string();
    const std::pair<const char*, void (*)(const std::string&)> attacks[] = {
        {"deleted", [](const std::string& file) { fs::remove(file); }},
        {"replaced",
         [](const std::string& file) {
             fs::copy_file(file, file + ".copy");
             fs::rename(file + ".copy", file);
         }},
        {"shorter",
         [](const std::string& file) { fs::resize_file(file, fs::file_size(file) / 2); }},
    };
    const auto new_table = [&] {
        fs::remove_all(fox);
        fs::create_directory(fox);
        std::string connection = "Provider=VFPOLEDB;Data Source=" + fox;
        RunStatement(connection, "create table dst (d_id i, d_name c(40), d_memo m)");
        return connection;
    };
    int moves_left = 0;
    for (const std::string kind : {"ACCESS", "FOXPRO"}) {
        const std::string file = kind == "ACCESS" ? mdb : fox + "/dst.dbf";
        for (const auto& [word, attack] : attacks) {
            for (const int row : {10, 100, kRows + 1}) {
                view = RecordingView();
                SaveSessionTo(kind, adVarWChar, kind == "ACCESS" ? NewAccess(mdb) : new_table());
                moves_left = row;
                source->before = [&, take = attack](std::string_view name, int) {
                    name == "Next" && --moves_left == 0 ? take(file) : void();
                };
                const auto code = Run();
                const auto what = file + " " + word + " at row " + std::to_string(row) + "\n" +
                                  view.log.substr(0, 1800);
                EXPECT_EQ(code, kRunTableLost) << what;
                const auto& report = CurrentRunReport.Tables.at(0);
                EXPECT_EQ(report.RowsLoaded, 0) << what;
                EXPECT_EQ(report.RowsFailed(), report.RowsRead) << what;
                EXPECT_TRUE(Has(view.log, word)) << what;
                EXPECT_TRUE(Has(view.log, file)) << what;
                EXPECT_FALSE(fs::exists(file + "-journal")) << what;
            }
        }
    }
}

TEST_F(Ledger, AFullDiskLosesNoRowUntold) {
    const std::string file = (folder / "full.mdb").string();
    for (const int text_type : {int{adVarWChar}, int{adLongVarWChar}}) {
        for (const int first : {1, 2, 3, 5, 8, 13, 40, 200}) {
            for (const int last : {first, 1'000'000}) {
                const std::string connection = NewAccess(file);
                view = RecordingView();
                SaveSessionTo("ACCESS", text_type, connection);
                FullDisk disk("full.mdb", first, last);
                RunnerExit code = kRunNotStarted;
                {
                    const InstalledPlan installed(disk);
                    code = Run();
                }
                const auto& table = CurrentRunReport.Tables.at(0);
                const std::string what =
                    "write " + std::to_string(first) + " to " + std::to_string(last) + ", type " +
                    std::to_string(text_type) + "\n" + view.log.substr(0, 150000);
                EXPECT_EQ(RowsOf(connection, "select count(*) from [dst]"),
                          std::to_string(table.RowsLoaded) + "\n")
                    << what;
                EXPECT_EQ(code == kRunWhole, table.RowsLoaded == kRows) << what;
                if (disk.writes >= first) {
                    EXPECT_NE(code, kRunWhole) << what;
                }
            }
        }
    }
}

// A polled file, with the program killed at each of its operations on files in turn; the next run
// goes on. No row may be lost, and none may be there twice without a line that says so.
TEST_F(Ledger, AKilledLoadOfAPolledFileLosesNothingAndDoublesNothingUntold) {
    constexpr int kPolledRows = 30;
    const auto set_up = [&](const fs::path& place) {
        fs::create_directories(place / "in");
        InitSharedState(place.string());
        CreateRepository(place.string(), Now());
        std::string rows = "s_id,s_name\r\n";
        for (int row = 1; row <= kPolledRows; ++row) {
            rows += std::to_string(row) + ",n\r\n";
        }
        std::ofstream(place / "in/a.csv") << rows;
        fs::last_write_time(place / "in/a.csv",
                            fs::file_time_type::clock::now() - std::chrono::hours(1));
        SourceType = "TEXTPOLL";
        TargetType = "ACCESS";
        SourceConnStr = TextSourceConnectionString((place / "in").string());
        TargetConnStr = NewAccess(place / "out.mdb");
        PollFolder = (place / "in").string();
        PollPattern = "*.csv";
        PollRename = "Loaded";
        SrcTables.clear();
        DstTables.clear();
        ColMaps.clear();
        AddTable("a.csv", "dst");
        MapColumn("id");
        MapColumn("name");
        DstTables[0].TableExists = SrcTables[0].TableExists = kTrue;
        SrcTables[0].LoadOption = DstTables[0].LoadOption = "APPEND";
        return SaveDaily(place / "log/polled.log");
    };
    const TempDir places{MemoryFolder(), "vantry"};
    int killed = 0;
    int renamed_only = 0;
    for (int point = 0;; point += 2) {
        const fs::path place = places.Path() / std::to_string(point);
        fs::create_directories(place);
        const i32 session = set_up(place);
        const auto ended = RunChild([&](const Report&) {
            KillAt plan(point, 0, Planted::Nothing);
            const InstalledPlan installed(plan);
            RunIn(place, session);
        });
        InitSharedState(place.string());
        RunIn(place, session);
        const auto rows = std::stoi(RowsOf(TargetConnStr, "select count(*) from dst"));
        const std::string log = view.log;
        const bool is_told = log.find("may be in the target twice") != std::string::npos;
        EXPECT_TRUE(rows == kPolledRows || (is_told && rows > kPolledRows))
            << "killed at " << point << ": " << rows << " rows\n"
            << log;
        EXPECT_FALSE(fs::exists(place / "in/a.csv")) << point;
        renamed_only += log.find("renamed now and not loaded again") != std::string::npos ? 1 : 0;
        killed += ended.killed ? 1 : 0;
        fs::remove_all(place);
        if (!ended.killed) {
            break;
        }
    }
    EXPECT_GT(killed, 20);
    EXPECT_GE(renamed_only, 1);
}

}  // namespace
}  // namespace vantry::test
