// Whole sessions with FoxPro tables on one side or both, in a folder ("DIR") and in a container
// ("DBC"): what the log says to the letter, what is in the target afterwards, and what is left when
// rows are refused, the disk is full or the program is killed. After each the files are sound.

#include "drivers/foxpro/verify/container_verify.h"
#include "drivers/foxpro/verify/verify.h"
#include "engine/route_fixture.h"
#include "support/child_process.h"
#include "support/fault_plans.h"
#include "text/text_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <utility>

namespace vantry::test {
namespace {

namespace fs = std::filesystem;

class FoxProRoute : public RouteTest, public testing::WithParamInterface<const char*> {
protected:
    FoxProRoute() : RouteTest(MemoryFolder()) {}

    static std::string Mode() { return GetParam(); }
    // The connection string of a new place in the folder `name`, and the prefix of its tables.
    std::pair<std::string, std::string> NewPlace(const std::string& mode,
                                                 const std::string& name) const {
        const auto folder = folder_ / name;
        fs::remove_all(folder);
        fs::create_directory(folder);
        const bool is_folder = mode == "DIR";
        const auto text = "Driver={Microsoft Visual FoxPro Driver};SourceType=" +
                          std::string(is_folder ? "DBF" : "DBC") +
                          ";SourceDb=" + (is_folder ? folder : folder / "shop.dbc").string() +
                          ";Persist Security Info=False";
        if (!is_folder) {
            Catalog().Create(text);
        }
        return {text, is_folder ? folder.string() + "/" : ""};
    }
    void ToFoxPro(const std::string& mode) const {
        TargetType = "FOXPRO";
        FoxDestMode = mode;
        std::tie(TargetConnStr, FoxDestPrefix) = NewPlace(mode, "out");
    }
    void FromFoxPro(const std::string& mode, std::initializer_list<const char*> statements) const {
        SourceType = "FOXPRO";
        FoxSrcMode = mode;
        std::tie(SourceConnStr, FoxSrcPrefix) = NewPlace(mode, "in");
        Send(SourceConnStr, statements);
    }
    // The table "dst" for rows of "orders.csv".
    void MakeTarget(const std::string& columns) const {
        ToFoxPro(Mode());
        const auto name = Mode() == "DIR" ? "[" + FoxDestPrefix + "dst.dbf]" : std::string("dst");
        RunStatement(TargetConnStr, "create table " + name + " (" + columns + ")");
        Map("orders.csv", "dst");
    }
    std::string RunSoundly(const std::string& option = {}) const {
        RunAndLog(option);
        ExpectSound();
        return Log();
    }
    void ExpectSound() const {
        const std::vector<std::string> none;
        for (const auto& entry : fs::directory_iterator(folder_ / "out")) {
            const auto path = entry.path();
            if (path.extension() == ".dbf") {
                EXPECT_EQ(foxpro::Verify(path.string()), none) << path;
            } else if (path.extension() == ".dbc") {
                EXPECT_EQ(foxpro::VerifyContainer(path.string()), none) << path;
            }
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Modes, FoxProRoute, testing::Values("DIR", "DBC"), [](const auto& mode) {
    return std::string(mode.param);
});

TEST_P(FoxProRoute, ATableIsCreatedAppendedToEmptiedAndRebuilt) {
    FromAccess(
        {"create table [order lines] ([id] Long, [name] Text(20), [price] Currency, "
         "[born] DateTime, [ok] YesNo, [share] Double, [few] Integer, [note] Memo)",
         "insert into [order lines] values (1,'Öl & Söhne',-12.5,#2001-02-03 04:05:06#,True,"
         "0.1,-3,'a longer text')",
         "insert into [order lines] values (2,Null,Null,Null,False,Null,Null,Null)"});
    ToFoxPro(Mode());
    Map("order lines");
    EXPECT_EQ(RunSoundly(),
              RunLog("About To Create Table order lines\n\norder lines Table Created Successfully\n"
                     "\nAbout to Insert Rows from order lines to order lines\n"
                     "2 Rows Loaded Time Elapsed :E"));
    const std::string rows =
        "1|Öl & Söhne|-12.5|2001-02-03 04:05:06|True|0.1|-3|a longer text\n"
        "2|Null|Null|Null|False|Null|Null|Null\n";
    EXPECT_EQ(Target("select * from [order lines]"), rows);

    Map("order lines");
    ASSERT_EQ(SrcTables[0].TableExists, kTrue);
    EXPECT_EQ(RunSoundly("APPEND"),
              RunLog("About to Insert Rows from order lines to order lines\n"
                     "2 Rows Loaded Time Elapsed :E"));
    EXPECT_EQ(Target("select * from [order lines]"), rows + rows);
    RunSoundly("DELETE");
    EXPECT_TRUE(LogHas("Existing Rows deleted succesfully from table order lines")) << Log();
    EXPECT_EQ(Target("select * from [order lines]"), rows);
    // What is rebuilt has the source's names, whatever the map says.
    ColMaps[1].DCName = "other";
    RunSoundly("DROP");
    EXPECT_TRUE(LogHas("order lines Table dropped")) << Log();
    EXPECT_TRUE(LogHas("2 Rows Loaded")) << Log();
    EXPECT_EQ(Target("select name from [order lines]"), "Öl & Söhne\nNull\n");
}

// By parameters, and by new rows where there are memos: every refused row stands in the log with
// its number, and the fiftieth gives the table up.
TEST_P(FoxProRoute, RefusedRowsAreToldUntilTheFiftieth) {
    const std::string wide(30, 'w');
    for (const std::string more : {"", ", note M"}) {
        for (const int bad : {1, 49, 50, 51}) {
            std::string csv = "id,name\r\n";
            for (int id = 1; id <= 120; ++id) {
                // The first row, then each other one.
                const bool refused = id % 2 == 1 && id / 2 < bad;
                csv += std::to_string(id) + ",\"" + (refused ? wide : "good") + "\"\r\n";
            }
            FromCsv(csv);
            MakeTarget("id I, name C(20)" + more);
            RunSoundly("APPEND");
            const auto path = (folder_ / "out/dst.dbf").string();
            const std::string error =
                "\nThe value '" + wide + "' is too long for the field '" +
                (Mode() == "DIR" ? "NAME" : "name") + "' of the table '" + path +
                "': 30 bytes for a width of 20. Make the field wider, or a memo.";
            EXPECT_TRUE(LogHas("Error Loading Row:1" + error)) << Log();
            EXPECT_EQ(Count(Log(), "Error Loading Row:"), std::min(bad, 50));
            const bool given_up = bad >= 50;
            EXPECT_EQ(
                LogHas("Aborting Loading Rows for Table :orders.csv As Errors Exceeded 50 Allowed"),
                given_up);
            // The fiftieth bad row is the 99th.
            const int good = given_up ? 49 : 120 - bad;
            EXPECT_EQ(LogHas(std::to_string(good) + " Rows Loaded"), !given_up);
            EXPECT_EQ(Target("select count(*) from dst"), std::to_string(good) + "\n") << bad;
        }
    }
}

// Whatever write fails, and whether for once or for good: what the report calls loaded is there.
TEST_P(FoxProRoute, AFullDiskLosesNoRowUntold) {
    std::string csv = "id,name,note\r\n";
    for (int id = 1; id <= 3000; ++id) {
        csv += std::to_string(id) + ",name " + std::to_string(id) + "," +
               std::string(static_cast<std::size_t>(id % 90), 'n') + "\r\n";
    }
    FromCsv(csv);
    int told = 0;
    for (const int first : {1, 2, 3, 4, 6, 9, 14, 30}) {
        for (const int last : {first, 1'000'000}) {
            MakeTarget("id I, name C(20), note M");
            FullDisk disk("dst.", first, last);
            {
                const InstalledPlan installed(disk);
                RunAndLog("APPEND");
            }
            ExpectSound();  // with room on the disk again, where a rollback may have to be finished
            const auto& table = CurrentRunReport.Tables.at(0);
            EXPECT_EQ(Target("select count(*) from dst"), std::to_string(table.RowsLoaded) + "\n")
                << first << " to " << last << Log().substr(0, 2000);
            if (disk.writes >= first) {
                EXPECT_NE(table.RowsLoaded, 3000) << first << Log().substr(0, 2000);
                told += LogHas("disk is full") ? 1 : 0;
            }
        }
    }
    EXPECT_GT(told, 8);
}

// A session killed at some operation on files: the rows that are there are the first ones of the
// source, nothing is damaged, and the next run goes its whole way.
TEST_P(FoxProRoute, AKilledRunLeavesTheFirstRowsAndNothingDamaged) {
    std::string csv = "id,note\r\n";
    for (int id = 1; id <= 2000; ++id) {
        csv += std::to_string(id) + "," + std::string(static_cast<std::size_t>(id % 300), 'n') +
               "\r\n";
    }
    FromCsv(csv);
    NoSync no_sync;
    int killed = 0;
    for (int nth = 1; nth < 200; nth += nth < 60 ? 3 : 20) {
        ToFoxPro(Mode());
        Map("orders.csv", "dst");
        const auto ended = RunChild([&](const Report&) {
            KillAt plan(nth, 0, Planted::Nothing);
            file::InstallFaultPlan(&plan);
            RunSession("");
        });
        killed += ended.killed ? 1 : 0;
        const InstalledPlan installed(no_sync);
        Map("orders.csv", "dst");
        if (SrcTables[0].TableExists == kTrue) {
            const auto there = std::stoi(Target("select count(*) from dst"));
            EXPECT_EQ(Target("select count(*) from dst where id <= " + std::to_string(there)),
                      std::to_string(there) + "\n")
                << nth;
        }
        RunSoundly(SrcTables[0].TableExists == kTrue ? "DROP" : "");
        EXPECT_TRUE(LogHas("2000 Rows Loaded")) << nth << Log();
    }
    EXPECT_GT(killed, 10);
}

// FoxPro as the source, names with blanks and long ones among them.
TEST_P(FoxProRoute, FoxProTablesReachEveryKindOfFile) {
    const bool folder = Mode() == "DIR";
    FromFoxPro(Mode(),
               {"create table [order lines] (id I, full_name C(30), price N(9,2), born D, at T, "
                "ok L, note M)",
                "insert into [order lines] values (1, 'Zoë', -7.25, {^2001-02-03}, "
                "{^2001-02-03 04:05:06}, .T., 'first\r\nsecond')",
                "insert into [order lines] (id) values (2)"});
    const auto log = RunLog(
        "About To Create Table order lines\n\ncopied Table Created Successfully\n"
        "\nAbout to Insert Rows from order lines to copied\n2 Rows Loaded Time Elapsed :E");
    const std::string rows = "1|Zoë|-7.25|2001-02-03|2001-02-03 04:05:06|True|first\r\nsecond\n";

    ToAccess();
    fs::create_directories(folder_ / "out");
    Map("order lines", "copied");
    EXPECT_EQ(RunSoundly(), log);
    EXPECT_EQ(Target("select * from copied where id=1"), rows);
    EXPECT_EQ(Target("select * from copied where full_name is null"),
              "2|Null|Null|Null|Null|False|Null\n");

    ToFoxPro(folder ? "DBC" : "DIR");
    Map("order lines", "copied");
    EXPECT_EQ(RunSoundly(), log);
    EXPECT_EQ(Target("select * from copied where id=1"),
              "1|Zoë|-7.25|2001-02-03|2001-02-03 04:05:06|True|first\r\nsecond\n");

    ToText();
    Map("order lines");
    RunSessionToText("");
    EXPECT_TRUE(LogHas("2 Rows Loaded")) << Log();
    const auto written = folder_.Read("order lines.out");
    EXPECT_NE(written.find("1,\"Zoë\",-7.25,"), std::string::npos) << written;

    // Without the memo file the log stays as it is, and the report says it once a run.
    fs::remove(folder_ / "in/order lines.fpt");
    RunSessionToText("");
    EXPECT_EQ(folder_.Read("order lines.out").find("first"), std::string::npos);
    EXPECT_EQ(CurrentRunReport.Tables.at(0).Remarks.size(), 1U);
    ToAccess();
    Map("order lines", "again");
    RunSoundly();
    EXPECT_TRUE(LogHas("\n2 Rows Loaded Time Elapsed")) << Log();
    EXPECT_EQ(Target("select note from again where id=1"), "Null\n");
    ASSERT_EQ(CurrentRunReport.Tables.at(0).Remarks.size(), 1U);
    const auto& remark = CurrentRunReport.Tables[0].Remarks[0];
    EXPECT_NE(remark.find("order lines.fpt' is missing"), std::string::npos) << remark;
}

// Does something to the target as soon as the log has these words.
struct Meddler : RecordingView {
    void AppendLogText(std::string_view text) override {
        RecordingView::AppendLogText(text);
        if (deed && text.find(words) != text.npos) {
            std::exchange(deed, nullptr)();
        }
    }
    std::string words;
    std::function<void()> deed;
};

// The first table is loaded and its file let go; the run goes on with the second.
TEST(LeftTargets, AFileThatIsLostBeforeTheRunEndsIsTold) {
    struct Fixture : RouteTest {
        Fixture() : RouteTest(MemoryFolder()) {}
        void TestBody() override {}
        using RouteTest::folder_, RouteTest::FromAccess, RouteTest::ToAccess, RouteTest::ToText;
    };
    const auto cut = [](std::uintmax_t size) {
        return [size](const fs::path& file) { fs::resize_file(file, size); };
    };
    const auto moved = [](const fs::path& file) { fs::rename(file, file.string() + ".away"); };
    const auto again = [](const fs::path& file) {
        fs::copy_file(file, file.string() + ".new");
        fs::rename(file.string() + ".new", file);
    };
    const struct {
        const char* file;
        std::function<void(const fs::path&)> deed;
        int unknown;
    } cases[] = {
        {"target.mdb", cut(40960), 300},
        {"target.mdb", again, 300},
        {"a.dbf", cut(0), 300},
        {"a.dbf", moved, 300},
        {"a.out", cut(10), 300},
        {"a.out", moved, 0},  // fetched by whoever waited for it
        {"a.out", again, 0},
    };
    for (const auto& one : cases) {
        Fixture here;
        here.FromAccess({"create table a (id long, name text(40))",
                         "create table b (id long)",
                         "insert into b values (1)"});
        for (int id = 1; id <= 300; ++id) {
            RunStatement(SourceConnStr,
                         "insert into a values (" + std::to_string(id) + ", '" +
                             std::string(40, 'n') + "')");
        }
        const std::string file = one.file;
        if (file.ends_with("mdb")) {
            here.ToAccess();
        } else if (file.ends_with("out")) {
            here.ToText();
        } else {
            TargetType = "FOXPRO";
            FoxDestMode = "DIR";
            FoxDestPrefix = here.folder_.Path().string() + "/";
            TargetConnStr = "Driver={Microsoft Visual FoxPro Driver};SourceType=DBF;SourceDb=" +
                            here.folder_.Path().string();
        }
        SrcTables.assign(2, TableRec());
        SrcTables[0].Name = "a";
        SrcTables[1].Name = "b";
        MapTables();
        Meddler meddler;
        meddler.words = file.ends_with("out") ? "/b.out" : "from b to b";
        meddler.deed = [&] { one.deed(here.folder_ / file); };
        CurrentRunView = &meddler;
        if (file.ends_with("out")) {
            RunSessionToText("");
        } else {
            RunSession("");
        }
        const auto& a = ReportOf(0);
        EXPECT_EQ(a.RowsUnknown, one.unknown) << file << meddler.log;
        EXPECT_EQ(a.RowsLoaded, 300 - one.unknown) << file;
        const bool given_up =
            a.Outcome == TableOutcome::GivenUp || ReportOf(1).Outcome == TableOutcome::GivenUp;
        EXPECT_EQ(given_up, one.unknown > 0) << file;
        EXPECT_EQ(meddler.log.find("before the run ended") != std::string::npos, one.unknown > 0);
    }
}

}  // namespace
}  // namespace vantry::test
