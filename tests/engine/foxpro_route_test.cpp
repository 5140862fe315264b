// Whole sessions with FoxPro tables on one side or both, in a folder ("DIR") and in a container
// ("DBC"): what the log says to the letter, and what is in the target afterwards, whose files are
// sound then. And targets of each kind of file that are lost before the run ends.

#include "drivers/foxpro/verify/container_verify.h"
#include "drivers/foxpro/verify/verify.h"
#include "engine/route_fixture.h"
#include "support/has.h"
#include "text/text_writer.h"

#include <gtest/gtest.h>

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
    std::string RunSoundly(const std::string& option = {}) const {
        RunAndLog(option);
        ExpectSound();
        return Log();
    }
    void ExpectSound() const {
        const std::vector<std::string> none;
        for (const auto& entry : fs::directory_iterator(folder_ / "out")) {
            const auto& path = entry.path();
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

// The log stays as it is, and the report says it once a run.
TEST_P(FoxProRoute, ASourceWithoutItsMemoFileIsReadAndRemarked) {
    FromFoxPro(Mode(),
               {"create table [order lines] (id I, full_name C(30), note M)",
                "insert into [order lines] values (1, 'Zoë', 'first\r\nsecond')",
                "insert into [order lines] (id) values (2)"});
    for (const bool there : {true, false}) {
        if (!there) {
            fs::remove(folder_ / "in/order lines.fpt");
        }
        ToText();
        Map("order lines");
        RunSessionToText("");
        EXPECT_EQ(folder_.Read("order lines.out").find("first") != std::string::npos, there);
        EXPECT_EQ(CurrentRunReport.Tables.at(0).Remarks.size(), there ? 0U : 1U);
        ToAccess();
        Map("order lines", "copied");
        RunAndLog();
        EXPECT_TRUE(LogHas("\n2 Rows Loaded Time Elapsed")) << Log();
        EXPECT_EQ(Target("select full_name, note from copied where id=1"),
                  there ? "Zoë|first\r\nsecond\n" : "Zoë|Null\n");
    }
    EXPECT_TRUE(Has(CurrentRunReport.Tables[0].Remarks.at(0), "order lines.fpt' is missing"));
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
        using RouteTest::folder_, RouteTest::FromAccess, RouteTest::ToAccess, RouteTest::ToText,
            RouteTest::ToFoxProFolder;
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
            here.ToFoxProFolder();
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
