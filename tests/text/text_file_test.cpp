// What becomes of a text file when something fails: rows, disk, process.

#include "data/cancelled.h"
#include "engine/run_report.h"
#include "support/child_process.h"
#include "support/child_program.h"
#include "support/fault_plans.h"
#include "support/has.h"
#include "support/no_threads.h"
#include "text/line_file.h"
#include "text/text_writer_fixture.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <thread>
#include <tuple>
#include <utility>

namespace vantry::test {
namespace {

namespace fs = std::filesystem;

class TextFileTest : public TextWriterTest {
protected:
    // One table more, of both columns.
    void AddFile(const std::string& name) {
        AddTable("src", name);
        SetFile(DstTables.size() - 1);
        MapColumn("id");
        MapColumn("name");
    }
};

TEST_F(TextFileTest, AnUnreadableFieldCostsItsRowAlone) {
    FillSource(4);
    source->rows[1][0] = Unreadable();
    EXPECT_EQ(Run(), "1,\"row 1\"\r\n3,\"row 3\"\r\n4,\"row 4\"\r\n");
    EXPECT_TRUE(Has(view.log,
                    "\r\nError Loading Row:1\r\nrow 2, field 0 can't be read"
                    "\r\n3 Rows Loaded"));

    // From text to text the words before the description are left out.
    SourceType = "TEXT";
    RunSessionToText("");
    EXPECT_EQ(LoggedErrors(), 0);
    EXPECT_EQ(Count(view.log, "\r\nrow 2, field 0 can't be read\r\n"), 1);
}

TEST_F(TextFileTest, TheFiftyFirstErrorOfTheRunGivesItUpAndKeepsTheFormerFile) {
    FillSource(65);
    for (std::size_t k = 10; k < 60; ++k) {
        source->rows[k][0] = Unreadable();
    }
    // The first table takes fifteen rows, the second one is given up, the third isn't begun.
    AddFile("dst2");
    AddFile("dst3");
    std::swap(DstTables[0].Name, DstTables[1].Name);
    for (const bool former : {true, false}) {
        SetFormer(former);
        RunSessionToText("");
        EXPECT_EQ(LoggedErrors(), 51);
        EXPECT_TRUE(view.log.ends_with("What was written stays in \"" +
                                       (folder / "dst.txt.partial").string() +
                                       "\".\r\nAborting loading as Errors exceed 50 allowed"));
        EXPECT_EQ(Count(view.log, "\r\n15 Rows Loaded"), 1);
        ExpectFormer(former);
        EXPECT_EQ(Written("dst.txt.partial"), Lines(10));
        EXPECT_FALSE(IsThere("dst3.txt"));
    }
}

TEST_F(TextFileTest, ASourceThatCantBeReachedEndsTheTableAndKeepsTheFormerFile) {
    FillSource(3);
    source->FailAlways("Connect", "no such server");
    folder.Write("dst.txt", "former");
    RunSessionToText("");
    EXPECT_EQ(LoggedErrors(), 5);  // the count and its answer, two opens, the columns
    EXPECT_TRUE(Has(view.log, ".txt\r\nError Loading Row:0\r\nno such server"));
    EXPECT_FALSE(Has(view.log, "Rows Loaded"));
    EXPECT_TRUE(view.log.ends_with("\r\n******( FINISH )*******"));
    EXPECT_EQ(Written(), "former");
}

TEST_F(TextFileTest, ACancelKeepsTheLineThatItMetAndEndsTheWalk) {
    FillSource(250);
    AddFile("dst2");
    for (const int hand_over : {1, 2, 3}) {
        view = RecordingView();
        view.cancel_at_event = hand_over;
        RunSessionToText("");
        const int loaded = (hand_over - 1) * 100;
        EXPECT_EQ(Written(), Lines(loaded + 1));
        EXPECT_TRUE(ReadableLog(view.log).ends_with(
            "\n" + std::to_string(loaded) +
            " Rows Loaded\nEnd Time is :T\n******( FINISH )*******\n"
            "User Requested to abort loading"));
        EXPECT_FALSE(IsThere("dst2.txt"));
    }
    SessionCancelled = TableCancelled = kFalse;
}

// The heading alone, or an empty file, would be no better than what was there. The first statement
// counts the rows, the second one reads them.
TEST_F(TextFileTest, ACancelOfAStatementAtTheOpeningLeavesTheFormerFile) {
    FillSource(3);
    for (const auto& [stopped, former] : {std::pair{1, true}, {2, true}, {2, false}}) {
        SetFormer(former);
        source->calls.clear();
        source->before = [at = stopped](std::string_view operation, int number) {
            if (operation == "OpenCursor" && number >= at) {
                throw DataError(kErrCancelled, "stopped");
            }
        };
        RunSessionToText("");
        ExpectFormer(former);
        EXPECT_EQ(CurrentRunReport.Tables[0].Outcome, TableOutcome::Cancelled);
    }
    SessionCancelled = TableCancelled = kFalse;
}

// ---- The file

constexpr int kManyRows = 120'000;  // 2.2 MiB: four full buffers and a rest

TEST_F(TextFileTest, WhatADiskRefusesIsCountedToldAndNeverReplacesTheFormerFile) {
    constexpr int kForGood = INT_MAX;
    constexpr int kRest = -1;  // all behind what was written
    // first: and last write that fails.
    const std::tuple<int, int, int, int, int> cases[] = {
        {kManyRows, 2, kForGood, 51, kRest},
        {kManyRows, 2, 11, 10, 10},  // there is room again
        // The last full buffer, on its way when the rows end: what became of it shows only then.
        {kManyRows, 4, 4, 0, 0},
        {kManyRows, 4, kForGood, 1, kRest},
        // The last lines, which are tried again when the file is closed.
        {kManyRows, 5, 5, 1, 0},
        {kManyRows, 5, kForGood, 1, kRest},
        {3, 1, kForGood, 1, 3},
    };
    for (const auto& [rows, first, last, errors, lost] : cases) {
        ClearTable();
        FillSource(rows);
        for (const bool former : {true, false}) {
            SetFormer(former);
            {
                FullDisk disk("", first, last);
                const InstalledPlan installed(disk);
                RunSessionToText("");
            }
            const bool kept = lost == kRest || errors == 1;
            if (kept) {
                ExpectFormer(former);
            }
            const std::string written = Written(kept ? "dst.txt.partial" : "dst.txt");
            const int lines = Count(written, "\r\n");
            SCOPED_TRACE("writes " + std::to_string(first) + " to " + std::to_string(last));
            EXPECT_EQ(LoggedErrors(), errors);
            EXPECT_EQ(ReportOf(0).RowsLoaded, kept ? 0 : lines);
            if (lost == 10) {
                EXPECT_TRUE(written.ends_with("\"row " + std::to_string(rows) + "\"\r\n"));
            } else {
                EXPECT_TRUE(written == Lines(rows).substr(0, written.size()));
                EXPECT_TRUE(written.empty() || written.ends_with("\"\r\n"));
            }
            EXPECT_TRUE(lost == kRest ? lines > 0 && lines < rows : lines == rows - lost);
            if (errors == 51) {
                EXPECT_TRUE(view.log.ends_with("\r\nAborting loading as Errors exceed 50 allowed"));
                EXPECT_EQ(Count(view.log, "No space left"), 51);
                const auto at = view.log.find("Error Loading Row:") + 18;
                const int before = std::stoi(view.log.substr(at)) - lines;
                EXPECT_EQ(Count(view.log, "\r\nThe " + std::to_string(before) + " lines before"),
                          1);
            } else {
                EXPECT_EQ(Count(view.log, "\r\n" + std::to_string(lines) + " Rows Loaded"), 1);
                const auto told = "The last " + std::to_string(rows - lines) + " lines aren't in";
                EXPECT_EQ(Count(view.log, told), errors == 1 && lost != 0 ? 1 : 0);
            }
        }
    }
}

// Without that a power failure may leave the new file's name with none of its rows, and the former
// file gone.
TEST_F(TextFileTest, AFormerFileIsReplacedOnlyByOneThatIsOnTheDisk) {
    FillSource(kManyRows);
    for (const bool former : {false, true}) {
        if (former) {
            folder.Write("dst.txt", "former");
        }
        OrderOfCalls calls;
        const InstalledPlan installed(calls);
        RunSessionToText("");
        EXPECT_EQ(calls.order, former ? "wsn" : "wn");
    }
}

TEST_F(TextFileTest, WhereNoThreadIsToBeHadTheFileIsWrittenAllTheSame) {
    FillSource(kManyRows);
    EXPECT_TRUE(HoldsWithoutThreads(folder.Path(), [&] {
        RunSessionToText("");
        return LoggedErrors() == 0 && Written() == Lines(kManyRows);
    }));
}

// What another program does to the file while it is written, behind the first full buffer. Nothing
// of it may go by the name of the target afterwards, and no row counts as loaded.
TEST_F(TextFileTest, AFileThatIsTakenAwayWhileItIsWrittenIsNoTarget) {
    const fs::path partial = folder / "dst.txt.partial";
    const auto replace = [&] {
        fs::remove(partial);
        folder.Write("dst.txt.partial", "another's");
    };
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"cut", [&] { fs::resize_file(partial, 1000); }},
        {"removed", [&] { fs::remove(partial); }},
        {"replaced", replace},
        {"replaced at the very end", replace},
        {"replaced by a link",
         [&] {
             fs::remove(partial);
             fs::create_symlink(folder / "elsewhere", partial);
         }},
    };
    for (const auto& [what, happens] : cases) {
        for (const bool former : {true, false}) {
            SCOPED_TRACE(what);
            ClearTable();
            FillSource(kManyRows);
            folder.Write("elsewhere", "untouched");
            SetFormer(former);
            int rows = 0;
            bool at_the_end = what == std::string_view("replaced at the very end");
            source->before = [&, happens = happens](std::string_view name, int) {
                if (name == "Next" && ++rows == kManyRows - 10 && !at_the_end) {
                    happens();
                }
            };
            VerdictBy plan([&,
                            former = former,
                            happens = happens,
                            user = std::this_thread::get_id()](const file::Call& call) {
                const auto last = former ? file::Operation::Sync : file::Operation::Write;
                if (call.operation == last && call.path == partial.string() && rows > kManyRows &&
                    std::this_thread::get_id() == user && std::exchange(at_the_end, false)) {
                    happens();
                }
                return file::Verdict();
            });
            const InstalledPlan installed(plan);
            RunSessionToText("");
            source->before = nullptr;
            ExpectFormer(former);
            EXPECT_EQ(Written("elsewhere"), "untouched");
            EXPECT_TRUE(Has(view.log, "cut, removed or replaced"));
            EXPECT_EQ(Count(view.log, "\r\n0 Rows Loaded"), 1);
            EXPECT_EQ(CurrentRunReport.Tables[0].Outcome, TableOutcome::GivenUp);
            EXPECT_EQ(CurrentRunReport.Tables[0].RowsLoaded, 0);
        }
    }
}

TEST_F(TextFileTest, TheNewFileKeepsTheFormersPermissionsAndReplacesALinkNotItsTarget) {
    FillSource(1);
    folder.Write("dst.txt", "former");
    ::chmod((folder / "dst.txt").c_str(), 0640);
    RunSessionToText("");
    EXPECT_EQ(ModeOf(folder / "dst.txt"), 0640U);

    folder.Write("elsewhere", "untouched");
    fs::remove(folder / "dst.txt");
    fs::create_symlink(folder / "elsewhere", folder / "dst.txt");
    fs::create_symlink(folder / "elsewhere", folder / "dst.txt.partial");
    RunSessionToText("");
    EXPECT_EQ(Written("elsewhere"), "untouched");
    EXPECT_FALSE(fs::is_symlink(folder / "dst.txt"));
    EXPECT_EQ(Written(), Lines(1));
}

TEST_F(TextFileTest, APlaceWhereNoFileCanBeGivesTheRunUp) {
    FillSource(60);
    const std::string out = TextDestDir = (folder / "out").string();
    fs::create_directories(out + "/folder.txt");
    for (const std::string& name : {out + "/folder.txt",
                                    out + "/../escape.txt",
                                    out + "/none/dst.txt",
                                    std::string("/dev/full"),
                                    out + std::string("/a\0b", 4)}) {
        DstTables[0].Name = name;
        RunSessionToText("");
        EXPECT_TRUE(view.log.ends_with("Aborting loading as Errors exceed 50 allowed")) << name;
    }
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
    EXPECT_FALSE(IsThere("escape.txt"));
    DstTables.clear();
    SrcRS.reset();
    RunSessionToText("");
    EXPECT_TRUE(Has(view.log, "the session names no target for it"));
    EXPECT_TRUE(view.log.ends_with("Aborting loading as Errors exceed 50 allowed"));
}

TEST_F(TextFileTest, AMachineWithAnotherCharacterSetGetsItsBytesAndLosesNoCharacterSilently) {
    class Locale {
    public:
        // Made here: few machines have one with another set than UTF-8.
        Locale(const std::string& folder, const std::string& name) {
            OutputOf({"localedef", "-i", "ru_RU", "-f", "CP1251", folder + "/" + name});
            ::setenv("LOCPATH", folder.c_str(), 1);
            ::setenv("LC_ALL", name.c_str(), 1);
        }
        ~Locale() {
            ::unsetenv("LC_ALL");
            ::unsetenv("LOCPATH");
        }
    };
    const TempDir locales;
    const Locale russian(locales.Path().string(), "ru_RU.cp1251");
    ASSERT_EQ(LocaleCodePage(), 1251) << "The Debian package locales isn't installed.";
    AddColumn("name", adVarWChar, 6);
    source->rows = {{Text("Привет")}, {Text("東京")}, {Text("plain")}};
    EXPECT_EQ(Run(), "\"\xCF\xF0\xE8\xE2\xE5\xF2\"\r\n\"plain\"\r\n");
    EXPECT_EQ(LoggedErrors(), 1);
    EXPECT_TRUE(Has(view.log, "has a character that the character set of this machine lacks"));
    EXPECT_TRUE(Has(view.log, "\r\n2 Rows Loaded"));
    // A heading that can't be written is no line of its file, as that of the table before was.
    TextDestHeader = kTrue;
    AddTable("src", "other");
    SetFile(1);
    MapColumn("東京");
    Run();
    EXPECT_EQ(ReportOf(1).RowsLoaded, 2);
}

TEST_F(TextFileTest, AKilledRunLeavesTheFormerFileAndTheNextOneReplacesIt) {
    FillSource(kManyRows);
    folder.Write("dst.txt", "former");
    const auto run = [&](const Report&) {
        source->before = [](std::string_view name, int number) {
            if (name == "Next" && number == 30'000) {
                ::kill(::getpid(), SIGKILL);
            }
        };
        RunSessionToText("");
    };
    ASSERT_TRUE(RunChild(run).killed);
    EXPECT_EQ(Written(), "former");
    EXPECT_TRUE(IsThere("dst.txt.partial"));
    source->rows.resize(1);  // shorter than what was left
    EXPECT_EQ(Run(), Lines(1));
    EXPECT_FALSE(IsThere("dst.txt.partial"));

    // What a living run writes isn't taken from it.
    text::LineFile living;
    living.Open(DstTables[0].Name);
    living.Append("living");
    living.EndLine();
    RunSessionToText("");
    EXPECT_TRUE(Has(view.log, "is being written by another run"));
    EXPECT_EQ(Written(), Lines(1));
    living.Finish();
    EXPECT_EQ(Written(), "living\r\n");
}

}  // namespace
}  // namespace vantry::test
