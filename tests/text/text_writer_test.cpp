// What a text file holds: statements, log, and the form of every type.

#include "core/settings.h"
#include "engine/run_report.h"
#include "support/has.h"
#include "text/field_text.h"
#include "text/text_read_back.h"
#include "text/text_writer_fixture.h"

namespace vantry::test {
namespace {

// ---- Statements and log

TEST_F(TextWriterTest, RowsAreReadByTheNamesOfATextRun) {
    AddColumn("a", adInteger);
    SrcTables[0].WhereCond = "x";
    for (const auto& [kind, owner, head, rows] :
         {std::tuple("ODBC", "own", "SELECT s_a", " FROM src WHERE x"),
          {"MySQL", "own", "SELECT `s_a`", " FROM `src` WHERE x"},
          {"ORACLE", "", "SELECT \"s_a\"", " FROM src WHERE x"}}) {
        SourceType = kind;
        SrcTables[0].Owner = owner;
        source->queries.clear();
        RunSessionToText("");
        EXPECT_EQ(source->queries,
                  (std::vector{std::string(" Select count(*) ") + rows, std::string(head) + rows}));
    }
}

TEST_F(TextWriterTest, TheLogTellsEachFileAndItsRows) {
    FillSource(2);
    RunSessionToText("");
    const std::string head = "Started Loading at T\nAbout to Start Loading Rows in :" + TextDestDir;
    EXPECT_EQ(ReadableLog(view.log),
              head + "/src.txt\n2 Rows Loaded\nEnd Time is :T\n******( FINISH )*******");
    EXPECT_EQ(view.caret, view.log.size());
    EXPECT_EQ(view.counter_changes, 2);
    EXPECT_EQ(view.bar_max * 10 + view.bar_min, view.bar_value * 10 + 1);

    // From text to text the source's name has its extension already.
    SourceType = "TEXT";
    TextDestDir += "/";
    RunSessionToText("");
    EXPECT_EQ(ReadableLog(view.log),
              head + "/src\n2 Rows Loaded\nEnd Time is :T\n******( FINISH )*******");
    // No record is left of a run into text.
    EXPECT_TRUE(repository->calls.empty());
}

// ---- Formats

TEST_F(TextWriterTest, EachTypeHasItsFormInEachFormat) {
    // Type, size, value, delimited, fixed.
    const std::tuple<int, std::int64_t, Value, std::string, std::string> cases[] = {
        {adSmallInt, 2, Int(42), "42", "     42"},
        {adInteger, 4, Int(12345678), "12345678", "1234567"},
        {adInteger, 4, Null(), "", "       "},
        {adDouble, 8, Value(Cell::Double(0.25)), "0.25", "             0.25"},
        {adDouble, 8, Null(), "", "                 "},
        {adCurrency, 8, Value(Cell::FromDecimal({15000, 4})), "1.5", "                  1.5"},
        {adDate, 8, Moment(2006, 5, 1, 7, 8, 9), "2006-05-01 07:08:09", "2006-05-01 07:08:09"},
        {adDBTime, 6, Moment(1899, 12, 30, 7, 8, 9), "07:08:09", "07:08:09  "},
        {adDBDate, 6, Null(), "", "          "},
        {adDBTimeStamp, 16, Moment(2006, 5, 1), "2006-05-01", "2006-05-01            "},
        {adBoolean, 2, Bool(true), "True", "True "},
        {adBoolean, 2, Null(), "", "False"},
        {adVarWChar, 6, Text(" ab "), "\"ab\"", " ab   "},
        {adVarChar, 2, Text("abcd"), "\"abcd\"", "abcd"},
        {adChar, 4, Text("Ærø"), "\"Ærø\"", "Ærø "},
        {adWChar, 3, Null(), "", "   "},
        {adVarWChar, 9, Text("a\"b,c"), "\"a\"b,c\"", "a\"b,c    "},
        {adNumeric, 6, Value(Cell::NumberText("12.5")), "12.5", "  12.5"},
        {adNumeric, 3, Value(Cell::NumberText("12.5")), "12.5", "   "},
        {adNumeric, 4, Null(), "", "    "},
        {adVarNumeric, 4, Int(7), "7", "                                       7"},
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
    // Long values as they are, here one that is longer than what is written at once.
    ClearTable();
    AddColumn("memo", adLongVarWChar, 0);
    AddColumn("bytes", adLongVarBinary, 0);
    const std::string memo(600'000, 'm');
    source->rows = {{Text(memo), Bytes("b\n")}, {Text("x"), Null()}};
    EXPECT_EQ(Run(), "\"" + memo + "\"b\n\r\n\"x\"\r\n");
}

// A spreadsheet runs what begins like a formula. The file holds the data all the same.
TEST_F(TextWriterTest, FormulaLikeTextsAreWrittenAsTheyAreAndCounted) {
    AddColumn("name", adVarWChar, 40);
    AddColumn("n", adInteger);
    for (const char* text : {"=1+1", "  @SUM(A1)", "-5", "+1.5", "-x", "a=b"}) {
        source->rows.push_back({Text(text), Int(-1)});
    }
    EXPECT_EQ(Run(),
              "\"=1+1\",-1\r\n\"@SUM(A1)\",-1\r\n\"-5\",-1\r\n\"+1.5\",-1\r\n\"-x\",-1\r\n"
              "\"a=b\",-1\r\n");
    EXPECT_EQ(ReportOf(0).FormulaTexts, 3);
    CurrentSettings.SpreadsheetSafe = true;
    CurrentSettings.VerifyRuns = true;
    RunSessionToText("");
    CurrentSettings = {};
    EXPECT_EQ(Written(),
              "\"'=1+1\",-1\r\n\"'@SUM(A1)\",-1\r\n\"-5\",-1\r\n\"+1.5\",-1\r\n\"'-x\",-1\r\n"
              "\"a=b\",-1\r\n");
    EXPECT_EQ(ReportOf(0).FormulaTexts, 0);
    // The blanks before the second one are lost, and no sign that was put there counts.
    const auto& found = ReportOf(0).Verified;
    EXPECT_EQ(found.columns, std::vector<std::string>{ColMaps.at(0).DCName}) << found.why_not;
    EXPECT_EQ(found.rows.value_or(0), 1);
    EXPECT_EQ(found.first_row.value_or(0), 2);
}

// Lines within a text that look like rows mislead who begins in the middle of the file.
TEST_F(TextWriterTest, ALargeFileIsReadBackInPartsUnlessARowThatWasGuessedStandsInAText) {
    FillSource(0);
    for (const char* note :
         {"nothing of note, but of some length", "a\r\n2,b\r\n3,c\r\n4,d\r\n5,e"}) {
        const bool misleads = note[1] == '\r';
        source->rows.clear();
        for (int k = 0; k < 100'000; ++k) {
            source->rows.push_back({Int(k), Text(note)});
        }
        CurrentSettings.VerifyRuns = true;
        Run();
        CurrentSettings = {};
        EXPECT_EQ(ReportOf(0).Verified.result, Verification::Result::Same) << note;

        const std::vector<text::LineColumn> columns(2);
        const auto rows = ReadTextBack((folder / "dst.txt").string(), columns, true, false);
        auto parts = rows->Parts(4);
        ASSERT_GE(parts.size(), 2U);
        std::int64_t count = 0;
        bool whole = true;
        for (auto& part : parts) {
            while (part->Next()) {
                ++count;
            }
            whole = whole && (part->EndsWithRow() || &part == &parts.back());
        }
        EXPECT_EQ(whole, !misleads) << note;
        EXPECT_EQ(count == 100'000, !misleads);
    }
}

TEST_F(TextWriterTest, AFixedHeadingIsAsWideAsItsTypeSays) {
    const std::pair<const char*, const char*> cases[] = {
        {"DateTime", "a_long_nam"},
        {"SMALLINT", "a_long_"},
        {"SmallInt", ""},  // the one name that must match in its letter case
        {"Integer", "a_long_"},
        {"Double", "a_long_name      "},
        {"long", "a_long_name      "},
        {"Currency", "a_long_name          "},
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

TEST_F(TextWriterTest, TextToTextGoesByTheTypesOfTheColumnMap) {
    const std::string wide = std::string(38, ' ') + "12";
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"Char", "\"12\"", " 12   "},
        {"203", "\"12\"", " 12   "},
        {"Varchar", " 12", "    12"},
        {"Date", " 12", " 12       "},
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
    for (const char* const name : {"dst.txt", "DST.txt", "dst#txt"}) {  // all of them are read
        SrcTables[0].Name = name;
        EXPECT_EQ(Run(), "a,b\r\n12,kept\r\n");
        EXPECT_TRUE(Has(view.log, "is the file that is read"));
        EXPECT_EQ(CurrentRunReport.Tables[0].Outcome, TableOutcome::NotPrepared);
    }
    SourceConnStr = former;
}

TEST_F(TextWriterTest, ATableDoesntReplaceTheFileOfAnotherOfItsRun) {
    FillSource(3);
    AddTable("src2", "dst.txt");
    DstTables[1].Name = folder.Path().string() + "/./dst.txt";
    source->rows.pop_back();
    MapColumn("id");
    EXPECT_EQ(Run(), Lines(2));
    EXPECT_EQ(LoggedErrors(), 1) << view.log;
    EXPECT_TRUE(Has(view.log, "holds another table of this run"));
    EXPECT_EQ(CurrentRunReport.Tables[1].Outcome, TableOutcome::NotPrepared);
}

// ---- Tables without rows in the file

TEST_F(TextWriterTest, AnEmptyTableLeavesItsHeadingAndNoLineInTheLog) {
    FillSource(0);
    folder.Write("dst.txt", "former");
    for (const i16 header : {kTrue, kFalse}) {
        TextDestHeader = header;
        RunSessionToText("");
        EXPECT_EQ(Written(), header == kTrue ? "d_id,d_name\r\n" : "");
        EXPECT_FALSE(Has(ReadableLog(view.log), "Rows Loaded"));
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
    EXPECT_TRUE(Has(view.log, "Column s_a is 2147483647 characters wide"));
    EXPECT_EQ(Written(), "");
}

}  // namespace
}  // namespace vantry::test
