#include "text/text_writer.h"

#include "engine/run_report.h"
#include "engine/session_fixture.h"
#include "support/fault_plans.h"
#include "support/no_threads.h"
#include "support/temp_dir.h"
#include "text/field_text.h"
#include "text/line_file.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

namespace vantry::test {
namespace {

namespace fs = std::filesystem;

class TextWriterTest : public SessionTest {
protected:
    TextWriterTest() {
        TargetType = "TEXT";
        TextDestDir = folder.Path().string();
        TextDestExt = ".txt";
        TextDestHeader = kFalse;
        TextDestFormat = "DELIMITED";
        TextDestDelim = ",";
        TextDestQual = "\"";
        SetFile(0);
    }
    void SetFile(std::size_t table) {
        DstTables[table].Name = JoinPath(TextDestDir, DstTables[table].Name) + TextDestExt;
    }
    std::string Written(const std::string& name = "dst.txt") const { return folder.Read(name); }
    std::string Run() {
        RunSessionToText("");
        return Written();
    }
    bool IsThere(const std::string& name) const { return fs::exists(folder / name); }
    // Lines "k","row k" from 1.
    static std::string Lines(int count) {
        std::string lines;
        for (int k = 1; k <= count; ++k) {
            lines += std::to_string(k) + ",\"row " + std::to_string(k) + "\"\r\n";
        }
        return lines;
    }

    TempDir folder;
};

// ---- Statements and log

TEST_F(TextWriterTest, EachKindOfSourceIsReadInItsOwnQuoting) {
    const std::tuple<const char*, const char*, std::string, std::string> cases[] = {
        {"ACCESS", "", "SELECT [s_a],[s_b]", " FROM [src] WHERE x"},
        {"ODBC", "", "SELECT s_a,s_b", " FROM src WHERE x"},
        {"MySQL", "own", "SELECT `s_a`,`s_b`", " FROM `src` WHERE x"},
        {"MSSQL", "dbo", "SELECT [s_a],[s_b]", " FROM [dbo].[src] WHERE x"},
        {"MSSQL", "", "SELECT [s_a],[s_b]", " FROM [src] WHERE x"},
        {"ORACLE", "own", "SELECT \"s_a\",\"s_b\"", " FROM own.src WHERE x"},
        {"ORACLE", "", "SELECT \"s_a\",\"s_b\"", " FROM src WHERE x"},
        {"FOXPRO", "", "SELECT s_a,s_b", " FROM \"/data/src\" WHERE x"},
    };
    AddColumn("a", adInteger);
    AddColumn("b", adInteger);
    SrcTables[0].WhereCond = "x";
    FoxSrcMode = "DIR";
    FoxSrcPrefix = "/data/";
    for (const auto& [type, owner, head, tail] : cases) {
        SourceType = type;
        SrcTables[0].Owner = owner;
        source->queries.clear();
        RunSessionToText("");
        EXPECT_EQ(source->queries,
                  (std::vector<std::string>{" Select count(*) " + tail, head + tail}));
    }
}

TEST_F(TextWriterTest, TheLogTellsEachFileAndItsRows) {
    FillSource(2);
    RunSessionToText("");
    const std::string head = "Started Loading at T\nAbout to Start Loading Rows in :" + TextDestDir;
    EXPECT_EQ(ReadableLog(view.log),
              head + "/src.txt\n2 Rows Loaded\nEnd Time is :T\n******( FINISH )*******");
    EXPECT_EQ(view.caret, view.log.size());

    // From text to text the source's name has its extension already.
    SourceType = "TEXT";
    TextDestDir += "/";
    RunSessionToText("");
    EXPECT_EQ(ReadableLog(view.log),
              head + "/src\n2 Rows Loaded\nEnd Time is :T\n******( FINISH )*******");
    // No record is left of a run into text.
    EXPECT_TRUE(repository->calls.empty());
}

TEST_F(TextWriterTest, ProgressIsShownPerRowAndEventsComeInAtEachHundred) {
    FillSource(250);
    RunSessionToText("");
    EXPECT_EQ(view.events, 3);  // at 0, 100 and 200 loaded rows
    EXPECT_EQ(view.counter_changes, 250);
    EXPECT_EQ(view.bar_min, 1);
    EXPECT_EQ(view.bar_max, 250);
    EXPECT_EQ(view.bar_value, 250);
    EXPECT_EQ(Written(), Lines(250));
}

// ---- Formats

TEST_F(TextWriterTest, EachTypeHasItsFormInEachFormat) {
    // Type, size, value, delimited, fixed.
    const std::tuple<int, std::int64_t, Value, std::string, std::string> cases[] = {
        {adSmallInt, 2, Int(42), "42", "     42"},
        {adInteger, 4, Int(-123), "-123", "   -123"},
        {adInteger, 4, Int(12345678), "12345678", "1234567"},
        {adInteger, 4, Null(), "", "       "},
        {adDouble, 8, Value(Cell::Double(0.25)), "0.25", "             0.25"},
        {adDouble, 8, Null(), "", "                 "},
        {adCurrency, 8, Value(Cell::FromDecimal({15000, 4})), "1.5000", "               1.5000"},
        {adDate, 8, Moment(2006, 5, 1), "2006-05-01", "2006-05-01"},
        {adDate, 8, Moment(2006, 5, 1, 7, 8, 9), "2006-05-01 07:08:09", "2006-05-01 07:08:09"},
        {adDBTime, 6, Moment(1899, 12, 30, 7, 8, 9), "07:08:09", "07:08:09  "},
        {adDBDate, 6, Null(), "", "          "},
        {adDBTimeStamp, 16, Moment(2006, 5, 1), "2006-05-01", "2006-05-01            "},
        {adDBTimeStamp, 16, Null(), "", "                      "},
        {adBoolean, 2, Bool(true), "True", "True "},
        {adBoolean, 2, Bool(false), "False", "False"},
        {adBoolean, 2, Null(), "", "False"},
        {adVarWChar, 6, Text(" ab "), "\"ab\"", " ab   "},
        {adVarChar, 2, Text("abcd"), "\"abcd\"", "abcd"},
        {adChar, 4, Text("Ærø"), "\"Ærø\"", "Ærø "},
        {adWChar, 3, Null(), "", "   "},
        {adVarWChar, 9, Text("a\"b,c"), "\"a\"b,c\"", "a\"b,c    "},
        {adVarWChar, 2, Text(""), "\"\"", "  "},
        {adNumeric, 6, Value(Cell::NumberText("12.5")), "12.5", "  12.5"},
        {adNumeric, 3, Value(Cell::NumberText("12.5")), "12.5", "   "},
        {adNumeric, 4, Null(), "", "    "},
        {adVarNumeric, 4, Int(7), "7", "                                       7"},
        {adVarNumeric, 4, Null(), "", "                                        "},
        {adSingle, 4, Value(Cell::Single(1.5F)), "1.5", " 1.5"},
        {adBigInt, 8, Int(123456789012), "123456789012", "123456789012"},
        {adGUID, 4, Null(), "", "    "},
    };
    for (const auto& [type, size, value, delimited, fixed] : cases) {
        ClearTable();
        AddColumn("a", type, size);
        AddColumn("end", adVarWChar, 1);
        source->rows = {{value, Text(".")}};
        TextDestFormat = "DELIMITED";
        EXPECT_EQ(Run(), delimited + ",\".\"\r\n") << type;
        TextDestFormat = "FIXED";
        EXPECT_EQ(Run(), fixed + ".\r\n") << type;
    }
}

TEST_F(TextWriterTest, LongAndBinaryValuesGoIntoDelimitedLinesAsTheyAre) {
    AddColumn("memo", adLongVarWChar, 0);
    AddColumn("bytes", adLongVarBinary, 0);
    const std::string memo(600'000, 'm');  // longer than what is written at once
    source->rows = {{Text(memo), Bytes("b\n")}, {Text("x"), Null()}};
    EXPECT_EQ(Run(), "\"" + memo + "\",b\n\r\n\"x\",\r\n");
}

TEST_F(TextWriterTest, DelimiterAndQualifierAreTheSessions) {
    FillSource(1);
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"\t", "'", "1\t'row 1'\r\n"},
        {";", "", "1;row 1\r\n"},
        {"||", "\"", "1||\"row 1\"\r\n"},
        {"", "\"", "1\"row 1\"\r\n"},
    };
    for (const auto& [delimiter, qualifier, line] : cases) {
        TextDestDelim = delimiter;
        TextDestQual = qualifier;
        EXPECT_EQ(Run(), line);
    }
}

// A spreadsheet runs what begins like a formula. The file holds the data all the same.
TEST_F(TextWriterTest, FormulaLikeTextsAreWrittenAsTheyAreAndCounted) {
    AddColumn("name", adVarWChar, 40);
    AddColumn("n", adInteger);
    source->rows = {{Text("=1+1"), Value(Cell::Int64(-1))},
                    {Text("  @SUM(A1)"), Value(Cell::Int64(-2))},
                    {Text("-5"), Value(Cell::Int64(3))},
                    {Text("+1.5"), Value(Cell::Int64(4))},
                    {Text("-x"), Value(Cell::Int64(5))},
                    {Text("a=b"), Value(Cell::Int64(6))}};
    RunSessionToText("");
    EXPECT_EQ(Written(),
              "\"=1+1\",-1\r\n\"@SUM(A1)\",-2\r\n\"-5\",3\r\n\"+1.5\",4\r\n\"-x\",5\r\n"
              "\"a=b\",6\r\n");
    EXPECT_EQ(ReportOf(0).FormulaTexts, 3);
    RunSessionToText("");
    EXPECT_EQ(ReportOf(0).FormulaTexts, 3);
}

TEST_F(TextWriterTest, AFixedHeadingIsAsWideAsItsTypeSays) {
    const std::pair<const char*, const char*> cases[] = {
        {"DateTime", "a_long_nam"},
        {"Date", "a_long_nam"},
        {"SMALLINT", "a_long_"},
        {"SmallInt", ""},  // the one name that must match in its letter case
        {"Integer", "a_long_"},
        {"Double", "a_long_name      "},
        {"long", "a_long_name      "},
        {"Currency", "a_long_name          "},
        {"money", "a_long_name          "},
        {"MediumInt", ""},
        {"LONGINT", ""},
        {"bit", "a_lon"},
        {"VarWchar", "a_long_name "},
    };
    ColMapRec row;
    row.DCName = "a_long_name";
    row.DWidth = 12;
    for (const auto& [type, heading] : cases) {
        row.DDtype = type;
        EXPECT_EQ(text::FixedHeading(row), heading) << type;
    }
    row.DWidth = 3;
    row.DCName = "Ærøen";
    EXPECT_EQ(text::FixedHeading(row), "Ærø");
    row.DWidth = -1;
    EXPECT_EQ(text::FixedHeading(row), "");
}

TEST(FieldTextTest, NumbersOfFixedWidthAreCutPaddedOrBlank) {
    EXPECT_EQ(Blanks(3), "   ");
    EXPECT_EQ(Blanks(-1), "");
    EXPECT_EQ(FixedNumberByCode(Cell::Int64(5), adSmallInt, kFalse), "      5");
    EXPECT_EQ(FixedNumberByCode(Cell::Text(" 5 "), adInteger, kFalse), "      5");
    EXPECT_EQ(FixedNumberByCode(Cell::Text(" 5 "), adInteger, kTrue), "     5 ");
    EXPECT_EQ(FixedNumberByCode(Cell::Null(), adDouble, kTrue), std::string(17, ' '));
    EXPECT_EQ(FixedNumberByCode(Cell::Text("1234567"), adInteger, kFalse), "1234567");
    EXPECT_EQ(FixedNumberByCode(Cell::Int64(5), adSingle, kFalse), "");
    EXPECT_EQ(FixedNumberByName(Cell::Text("n"), "Currency", kTrue), "n" + std::string(20, ' '));
    EXPECT_EQ(FixedNumberByName(Cell::Null(), "MONEY", kFalse), std::string(21, ' '));
    EXPECT_EQ(FixedNumberByName(Cell::Text("n"), "Real", kTrue), "");
}

TEST_F(TextWriterTest, TextToTextGoesByTheTypesOfTheColumnMap) {
    const std::string wide = std::string(38, ' ') + "12";
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"VarWchar", "\"12\"", " 12   "},
        {"Char", "\"12\"", " 12   "},
        {"203", "\"12\"", " 12   "},
        {"Varchar", " 12", "    12"},
        {"Date", " 12", " 12       "},
        {"135", " 12", " 12                   "},
        {"131", " 12", "    12"},
        {"139", " 12", wide},
        {"11", " 12", "True "},
        {"Integer", " 12", ""},
        {"varwchar", " 12", "    12"},
    };
    AddColumn("a", adVarWChar, 6);
    source->rows = {{Text(" 12")}};
    SourceType = "TEXT";
    for (const auto& [type, delimited, fixed] : cases) {
        ColMaps[0].DDtype = type;
        TextDestFormat = "DELIMITED";
        EXPECT_EQ(Run(), delimited + "\r\n") << type;
        TextDestFormat = "FIXED";
        EXPECT_EQ(Run(), fixed + "\r\n") << type;
    }
    // Its numbers take the width of their field's type.
    source->columns[0].type = adInteger;
    source->rows = {{Int(7)}};
    ColMaps[0].DDtype = "Integer";
    EXPECT_EQ(Run(), "      7\r\n");
}

TEST_F(TextWriterTest, AFileIsNotWrittenOverItself) {
    AddColumn("a", adVarWChar, 6);
    source->rows = {{Text("12")}};
    folder.Write("dst.txt", "a,b\r\n12,kept\r\n");
    const std::string former = SourceConnStr;
    SourceType = "TEXT";
    SourceConnStr = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder.Path().string() +
                    "/.;Extended Properties=\"text;FMT=Delimited\";\"";
    SrcTables[0].Name = "dst.txt";
    EXPECT_EQ(Run(), "a,b\r\n12,kept\r\n");
    EXPECT_NE(view.log.find("is the file that is read"), std::string::npos) << view.log;
    EXPECT_EQ(CurrentRunReport.Tables[0].Outcome, TableOutcome::NotPrepared);
    SourceConnStr = former;
}

// ---- Tables without rows in the file

TEST_F(TextWriterTest, AnEmptyTableLeavesItsHeadingAndNoLineInTheLog) {
    FillSource(0);
    folder.Write("dst.txt", "former");
    for (const i16 header : {kTrue, kFalse}) {
        TextDestHeader = header;
        RunSessionToText("");
        EXPECT_EQ(Written(), header == kTrue ? "d_id,d_name\r\n" : "");
        EXPECT_EQ(ReadableLog(view.log).find("Rows Loaded"), std::string::npos);
        EXPECT_FALSE(IsThere("dst.txt.partial"));
    }
}

TEST_F(TextWriterTest, ALongColumnSkipsATableOfFixedWidthAndTheNextIsTried) {
    AddColumn("memo", adLongVarWChar, 0);
    source->rows = {{Text("m")}};
    TextDestFormat = "FIXED";
    TextDestHeader = kTrue;
    AddTable("src2", "dst2");
    SetFile(1);
    MapColumn("memo").DWidth = 8;
    RunSessionToText("");
    EXPECT_EQ(Count(view.log,
                    "\r\nTable Contains Long Datatypes. Cannot Create Fixed Length File. Pl Choose "
                    "Delimited Format or De-Select the Long Columns.\r\nSkipping table\r\n"),
              2);
    EXPECT_EQ(Written("dst2.txt"), "d_memo  \r\n");
    EXPECT_EQ(Written("dst.txt"), "\r\n");
}

TEST_F(TextWriterTest, AFieldTooWideForAnyLineIsAnErrorAndNoMemory) {
    AddColumn("a", adVarWChar, INT32_MAX);
    source->rows = {{Text("x")}};
    TextDestFormat = "FIXED";
    RunSessionToText("");
    EXPECT_NE(view.log.find("Column s_a is 2147483647 characters wide"), std::string::npos);
    EXPECT_EQ(Written(), "");
}

// ---- Errors

TEST_F(TextWriterTest, AnUnreadableFieldCostsItsRowAlone) {
    FillSource(4);
    source->rows[1][0] = Unreadable();
    EXPECT_EQ(Run(), "1,\"row 1\"\r\n3,\"row 3\"\r\n4,\"row 4\"\r\n");
    EXPECT_NE(view.log.find("\r\nError Loading Row:1\r\nrow 2, field 0 can't be read"
                            "\r\n3 Rows Loaded"),
              std::string::npos);

    // From text to text the words before the description are left out.
    SourceType = "TEXT";
    RunSessionToText("");
    EXPECT_EQ(LoggedErrors(), 0);
    EXPECT_EQ(Count(view.log, "\r\nrow 2, field 0 can't be read\r\n"), 1);
}

TEST_F(TextWriterTest, TheFiftyFirstErrorOfTheRunGivesItUpAndKeepsTheFormerFile) {
    FillSource(65);
    for (int k = 10; k < 60; ++k) {
        source->rows[static_cast<std::size_t>(k)][0] = Unreadable();
    }
    AddTable("src2", "dst2");
    SetFile(1);
    MapColumn("id");
    MapColumn("name");
    AddTable("src3", "dst3");
    SetFile(2);
    folder.Write("dst2.txt", "former");
    for (const bool former : {true, false}) {
        if (!former) {
            fs::remove(folder / "dst2.txt");
        }
        RunSessionToText("");
        EXPECT_EQ(LoggedErrors(), 51);
        EXPECT_TRUE(view.log.ends_with("\r\nAborting loading as Errors exceed 50 allowed"));
        EXPECT_EQ(Count(view.log, "\r\n15 Rows Loaded"), 1);  // of the first table
        EXPECT_EQ(Written("dst2.txt"), former ? "former" : Lines(10));
        EXPECT_EQ(Written("dst2.txt.partial"), former ? Lines(10) : "");
        fs::remove(folder / "dst2.txt.partial");
        EXPECT_FALSE(IsThere("dst3.txt"));
    }
}

TEST_F(TextWriterTest, ASourceThatCantBeReachedEndsTheTableAndKeepsTheFormerFile) {
    FillSource(3);
    source->FailAlways("Connect", "no such server");
    folder.Write("dst.txt", "former");
    RunSessionToText("");
    EXPECT_EQ(LoggedErrors(), 5);  // the count and its answer, two opens, the columns
    EXPECT_NE(view.log.find(".txt\r\nError Loading Row:0\r\nno such server"), std::string::npos);
    EXPECT_EQ(view.log.find("Rows Loaded"), std::string::npos);
    EXPECT_TRUE(view.log.ends_with("\r\n******( FINISH )*******"));
    EXPECT_EQ(Written(), "former");
}

TEST_F(TextWriterTest, ACancelKeepsTheLineThatItMetAndEndsTheWalk) {
    FillSource(250);
    AddTable("src2", "dst2");
    SetFile(1);
    MapColumn("id");
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

// Whichever call fails once: the file holds the rows that the log counts, each as the source has
// it.
TEST_F(TextWriterTest, TheLedgerHoldsWhicheverCallFails) {
    FillSource(12);
    const std::string all = Lines(12);
    int fired = 1;
    for (int n = 1; fired != 0; ++n) {
        fired = 0;
        int call = 0;
        source->before = [&](std::string_view, int) {
            if (++call == n) {
                ++fired;
                throw DataError(kErrUnspecified, "call " + std::to_string(n) + " failed");
            }
        };
        fs::remove(folder / "dst.txt");
        RunSessionToText("");
        const std::string written = Written();
        const int lines = Count(written, "\r\n");
        EXPECT_EQ(written, all.substr(0, written.size())) << n;
        if (view.log.find("Rows Loaded") == std::string::npos && LoggedErrors() < 51) {
            // The count failed: the table ends before its rows, told as failed and not as empty.
            EXPECT_GE(LoggedErrors(), 1) << n;
            EXPECT_LE(n, 3);
            EXPECT_EQ(lines, 0) << n;
        } else if (LoggedErrors() < 51) {
            EXPECT_EQ(Count(view.log, "\r\n" + std::to_string(lines) + " Rows Loaded"), 1) << n;
            EXPECT_EQ(lines, 12) << n;
        }
    }
}

// ---- The file

constexpr int kManyRows = 60'000;  // 1.1 MiB: four full buffers and a rest

TEST_F(TextWriterTest, WhatADiskRefusesIsCountedToldAndNeverReplacesTheFormerFile) {
    constexpr int kForGood = INT_MAX;
    constexpr int kRest = -1;  // all behind what was written
    struct {
        int rows;
        int first;  // and last write that fails
        int last;
        int errors;
        int lost;
    } const cases[] = {
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
    for (const auto& c : cases) {
        ClearTable();
        FillSource(c.rows);
        for (const bool former : {true, false}) {
            fs::remove(folder / "dst.txt");
            fs::remove(folder / "dst.txt.partial");
            if (former) {
                folder.Write("dst.txt", "former");
            }
            {
                FullDisk disk("", c.first, c.last);
                const InstalledPlan installed(disk);
                RunSessionToText("");
            }
            const bool kept = former && (c.lost == kRest || c.errors == 1);
            EXPECT_TRUE(!kept || Written() == "former");
            const std::string written = Written(kept ? "dst.txt.partial" : "dst.txt");
            const int lines = Count(written, "\r\n");
            SCOPED_TRACE("writes " + std::to_string(c.first) + " to " + std::to_string(c.last));
            EXPECT_EQ(LoggedErrors(), c.errors);
            if (c.lost == 10) {
                EXPECT_TRUE(written.ends_with("\"row " + std::to_string(c.rows) + "\"\r\n"));
            } else {
                EXPECT_TRUE(written == Lines(c.rows).substr(0, written.size()));
                EXPECT_TRUE(written.empty() || written.ends_with("\"\r\n"));
            }
            EXPECT_TRUE(c.lost == kRest ? lines > 0 && lines < c.rows : lines == c.rows - c.lost);
            if (c.errors == 51) {
                EXPECT_TRUE(view.log.ends_with("\r\nAborting loading as Errors exceed 50 allowed"));
                EXPECT_EQ(Count(view.log, "No space left"), 51);
                const auto at = view.log.find("Error Loading Row:") + 18;
                const int before = std::stoi(view.log.substr(at)) - lines;
                EXPECT_EQ(Count(view.log, "\r\nThe " + std::to_string(before) + " lines before"),
                          1);
            } else {
                EXPECT_EQ(Count(view.log, "\r\n" + std::to_string(lines) + " Rows Loaded"), 1);
                const auto told = "The last " + std::to_string(c.rows - lines) + " lines aren't in";
                EXPECT_EQ(Count(view.log, told), c.errors == 1 && c.lost != 0 ? 1 : 0);
            }
        }
    }
}

TEST_F(TextWriterTest, WhereNoThreadIsToBeHadTheFileIsWrittenAllTheSame) {
    FillSource(kManyRows);
    EXPECT_TRUE(HoldsWithoutThreads(folder.Path(), [&] {
        RunSessionToText("");
        return LoggedErrors() == 0 && Written() == Lines(kManyRows);
    }));
}

// The kernel's own refusal, behind a part of the bytes.
TEST_F(TextWriterTest, AFileAtTheSystemsSizeLimitEndsInWholeLines) {
    FillSource(kManyRows);
    const auto former = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit low{300'000, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &low), 0);
    RunSessionToText("");
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, former);
    EXPECT_EQ(LoggedErrors(), 51);
    EXPECT_TRUE(Written().ends_with("\"\r\n"));
    EXPECT_EQ(Written(), Lines(kManyRows).substr(0, Written().size()));
}

TEST_F(TextWriterTest, TheNewFileKeepsTheFormersPermissionsAndReplacesALinkNotItsTarget) {
    FillSource(1);
    folder.Write("dst.txt", "former");
    ::chmod((folder / "dst.txt").c_str(), 0640);
    RunSessionToText("");
    struct stat status {};
    ASSERT_EQ(::stat((folder / "dst.txt").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);

    folder.Write("elsewhere", "untouched");
    fs::remove(folder / "dst.txt");
    fs::create_symlink(folder / "elsewhere", folder / "dst.txt");
    fs::create_symlink(folder / "elsewhere", folder / "dst.txt.partial");
    RunSessionToText("");
    EXPECT_EQ(Written("elsewhere"), "untouched");
    EXPECT_FALSE(fs::is_symlink(folder / "dst.txt"));
    EXPECT_EQ(Written(), Lines(1));
}

TEST_F(TextWriterTest, APlaceWhereNoFileCanBeGivesTheRunUp) {
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
}

TEST_F(TextWriterTest, ATableWithoutATargetGivesTheRunUp) {
    FillSource(2);
    DstTables.clear();
    SrcRS.reset();
    RunSessionToText("");
    EXPECT_NE(view.log.find("the session names no target for it"), std::string::npos) << view.log;
    EXPECT_TRUE(view.log.ends_with("Aborting loading as Errors exceed 50 allowed"));
}

TEST_F(TextWriterTest, AMachineWithAnotherCharacterSetGetsItsBytesAndLosesNoCharacterSilently) {
    class Locale {
    public:
        explicit Locale(const char* name) { ::setenv("LC_ALL", name, 1); }
        ~Locale() { ::unsetenv("LC_ALL"); }
    };
    const Locale russian("ru_RU.cp1251");
    if (LocaleCodePage() != 1251) {
        GTEST_SKIP() << "the locale ru_RU.cp1251 isn't installed";
    }
    AddColumn("name", adVarWChar, 6);
    source->rows = {{Text("Привет")}, {Text("東京")}, {Text("plain")}};
    EXPECT_EQ(Run(), "\"\xCF\xF0\xE8\xE2\xE5\xF2\"\r\n\"plain\"\r\n");
    EXPECT_EQ(LoggedErrors(), 1);
    EXPECT_NE(view.log.find("has a character that the character set of this machine lacks"),
              std::string::npos);
    EXPECT_NE(view.log.find("\r\n2 Rows Loaded"), std::string::npos);
}

TEST_F(TextWriterTest, AKilledRunLeavesTheFormerFileAndTheNextOneReplacesIt) {
    FillSource(kManyRows);
    folder.Write("dst.txt", "former");
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        source->before = [](std::string_view name, int number) {
            if (name == "Next" && number == 30'000) {
                ::kill(::getpid(), SIGKILL);
            }
        };
        RunSessionToText("");
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(Written(), "former");
    EXPECT_TRUE(IsThere("dst.txt.partial"));
    EXPECT_EQ(Run(), Lines(kManyRows));
    EXPECT_FALSE(IsThere("dst.txt.partial"));
}

TEST_F(TextWriterTest, WhatADeadRunLeftIsReplacedButNotWhatALivingOneWrites) {
    FillSource(1);
    folder.Write("dst.txt.partial", "of a run that died, and longer than the new file");
    EXPECT_EQ(Run(), Lines(1));
    EXPECT_FALSE(IsThere("dst.txt.partial"));

    text::LineFile living;
    living.Open(DstTables[0].Name);
    living.Append("living");
    living.EndLine();
    RunSessionToText("");
    EXPECT_NE(view.log.find("is being written by another run"), std::string::npos);
    EXPECT_EQ(Written(), Lines(1));
    living.Finish();
    EXPECT_EQ(Written(), "living\r\n");
}

}  // namespace
}  // namespace vantry::test
