#include "drivers/text/text_folder.h"
#include "support/fault_plans.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

namespace vantry::text {
namespace {

using namespace std::string_literals;
using test::ShowRow;
using test::TextFolder;
using vantry::test::ErrorOf;
using vantry::test::Has;

using Lines = std::vector<std::string>;

// Rows that lie across the ends of blocks, rows that are longer than a block.
TEST(TextScan, RowsCountsRowIdsAndSeekAreWhatTheFormatSaysThroughWindowsOfAnySize) {
    // Section, file, rows.
    const std::tuple<std::string, std::string, Lines> cases[] = {
        // Rows and fields.
        {"", "a,b\r\n1,x\r\n2,y\r\n", {"1|'x'", "2|'y'"}},
        {"", "a,b\n1\n2,y,surplus,more\n", {"1|<null>|<null>|<null>", "2|'y'|'surplus'|'more'"}},
        {"MaxScanRows=1", "a,b\n1,x\n2,y,surplus\n3,z,, ,\"\"\n", {"1|'x'", "2|!!!", "3|'z'"}},
        {"Col1=a Long", "h\n1,x\n2\n", {"!!!", "2"}},
        {"", "a,b\n1,\"x\ny, \"\"z\"\"\"\n", {"1|'x\ny, \"z\"'"}},
        {"CharacterSet=65001",
         "a,b\n\"7\" ,\"Müller\" GmbH & Co\n\"8\",\"5\"\" of\" 6\"\" \"x\"\n",
         {"7|'Müller GmbH & Co'", "8|'5\" of 6\"\" \"x\"'"}},
        {"", "a,b\n1,never\n2,\"closed\n3,x", {"1|'never'", "2|!!!"}},
        {"TextDelimiter='", "a,b\n1,'x,''y'\n2,\"z\"\n", {"1|'x,'y'", "2|'\"z\"'"}},
        // A delimiter of two bytes, in a file whose other letters are of the Windows page.
        {"Format=Delimited(\xC2\xA7)",
         "a\xA7"
         "b\n\xC4\xA7x\xFC\n",
         {"'\xC3\x84'|'x\xC3\xBC'"}},
        // Null, empty and blank.
        {"", "n,t\n1,\"\"\n\"\",x\n", {"1|''", "<null>|'x'"}},
        {"", "n,t\n1,  \n  , x \n", {"1|'  '", "<null>|' x '"}},
        // Numbers.
        {"", "a\n12.50\n-0.00\n100\n.5\n 7 \n", {"12.5", "0", "100", "0.5d", "7d"}},
        {"TextDelimiter='\nFormat=TabDelimited",
         "a\n$1,234.50\n($2)\n3\n",
         {"1234.5m", "-2m", "3m"}},
        {"Col1=a Long\nCol2=b Double\nCol3=c Short\nCol4=d Byte",
         "h\n007,+1.5,-32768,255\n\"1,234\",1e3, 5 ,0\n12.0,,,\n",
         {"7|1.5d|-32768|255", "1234|1000d|5|0", "12|<null>|<null>|<null>"}},
        {"Col1=a Currency\nCol2=b Decimal Precision 5 Scale 2\nCol3=c Single",
         "h\n1.00005,123.45,0.1\n-5 $,1.5,1234567.5\n(1.5),-999.99,3\n",
         {"1m|123.45m|0.1", "-5m|1.5m|1234567.5f", "-1.5m|-999.99m|3"}},
        {"Col1=a Bit\nCol2=b Binary",
         "h\nTrue,A\nno,\n1,\"\"\"\"\n",
         {"True|xA", "False|<null>", "True|x\""}},
        // What doesn't fit is an error of the field, never a null.
        {"MaxScanRows=1",
         "a,b,c\n1,1.5,2024-01-31\n007,+5,31.12.2024\n5,,\n",
         {"1|1.5|#2024-01-31 00:00:00#", "!!!|!!!|!!!", "5|<null>|<null>"}},
        {"MaxScanRows=1", "a\n1\n1.5\n3000000000\n0.0\n", {"1", "!!!", "!!!", "!!!"}},
        {"MaxScanRows=1",
         "a\n1.5\n1234567890123456\n00.5\n1E5\n1E+5\n2\n",
         {"1.5", "!!!", "!!!", "!!!", "100000d", "2"}},
        {"Col1=a Long\nCol2=b Short\nCol3=c Byte\nCol4=d Bit\nCol5=e Currency\n"
         "Col6=f Decimal Precision 3 Scale 1\nCol7=g DateTime\nCol8=h Single",
         "h\n2147483648,32768,-1,maybe,1e30,12.34,2024-02-30,1e39\n"
         "1.5,x,256,,922337203685478,1000,x,NaN\n",
         {"!!!|!!!|!!!|!!!|!!!|!!!|!!!|!!!", "!!!|!!!|!!!|<null>|!!!|!!!|!!!|!!!"}},
        // Text.
        {"MaxScanRows=1",
         "a\nx\n" + std::string(300, 'y') + "\n",
         {"'x'", "'" + std::string(300, 'y') + "'"}},
        {"Col1=a Text Width 3",
         "h\nabcdef\n\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F\n\"\xC3\xA4\xC3\xB6\xC3\xBC\"\n",
         {"!!!", "!!!", "'\xC3\xA4\xC3\xB6\xC3\xBC'"}},
        {"MaxScanRows=1\nCharacterSet=65001",
         "a\n\xC3\xA4\n\xE4\n\xC3\xA4\xE4\x80\n",
         {"'\xC3\xA4'", "'\xC3\xA4'", "'\xC3\xA4\xC3\xA4\xE2\x82\xAC'"}},
        {"CharacterSet=1252", "a\n\x80\xE4\x81\n", {"'\xE2\x82\xAC\xC3\xA4\xC2\x81'"}},
        {"CharacterSet=932\nFormat=Delimited(|)",
         "a|b\n\x83|x|\xB1|\n",
         {"'\xE3\x83\x9D"
          "x'|'\xEF\xBD\xB1'|<null>"}},
        {"CharacterSet=Unicode", "a\0\n\0x\0=\xD8\0\xDE\n\0"s, {"'x\xF0\x9F\x98\x80'"}},
        // U+1A00 at the end, and a Ctrl-Z.
        {"CharacterSet=Unicode", "a\0\n\0x\0\0\x1A"s, {"'x\xE1\xA8\x80'"}},
        {"CharacterSet=1201", "\0a\0\n\0x\0\x1A"s, {"'x'"}},
        {"", "\xFE\xFF\0a\0,\0b\0\r\0\n\0001\0,\0\"\0,\0\"\0\"\0\"\0\r\0\n"s, {"1|',\"'"}},
        {"", "\xEF\xBB\xBF\"a\",b\n1,x\n", {"1|'x'"}},
        // Stray bytes far behind a qualifier that isn't closed, and far before one that is.
        {"", "a,b\n1,\"" + std::string(200, 'x') + "\xE4" + std::string(50, 'x'), {"1|!!!"}},
        // Dates.
        {"",
         "a\n2024-01-31\n2024-01-31 23:59:59\n12:30\n",
         {"#2024-01-31 00:00:00#", "#2024-01-31 23:59:59#", "#1899-12-30 12:30:00#"}},
        {"DateTimeFormat=dd/mm/yyyy",
         "a\n31/01/2024\n 1/2/2024 \n",
         {"#2024-01-31 00:00:00#", "#2024-02-01 00:00:00#"}},
        // Fixed columns.
        {"Format=FixedLength\nColNameHeader=False\nCol1=a Long Width 4\nCol2=b Text Width 5",
         "   1 ab  \r\n22  \xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4xx\r\n\r\n  33\r\n    c\n",
         {"1|' ab'", "22|!!!", "33|<null>", "<null>|'c'"}},
        {"Format=FixedLength\nFixedFormat=TrueFixedLength\nCol1=a Text Width 2\nCol2=b Text "
         "Width "
         "3",
         "any header\r\nab\rcd1 234\r\nxyz",
         {"'ab'|'\rcd'", "'1'|'234'", "'xy'|'z'"}},
        {"Format=FixedLength\nFixedFormat=TrueFixedLength\nColNameHeader=False\nCol1=a Text "
         "Width "
         "1",
         "\xF0\x9F\x98\x80x\xF0",
         {"'\xF0\x9F\x98\x80'", "'x'", "'\xC3\xB0'"}},
    };
    for (const auto& [schema, file, rows] : cases) {
        // Windows of any size, by one thread and by two.
        for (const auto& sizes : {ReaderSizes{1, 1, 99},
                                  ReaderSizes{16, 16, 99},
                                  ReaderSizes{65536, 65536, 99},
                                  ReaderSizes{1, 1, 0},
                                  ReaderSizes{16, 16, 1},
                                  ReaderSizes{65536, 65536, 0}}) {
            TextFolder folder("text", sizes);
            folder.Write("f.csv", file);
            folder.Schema("[f.csv]\n" + schema);
            EXPECT_EQ(folder.Rows("f.csv"), rows) << schema << "\n" << file;
            const auto table = folder.Open("f.csv");
            EXPECT_EQ(table->CountRows(), static_cast<std::int64_t>(rows.size()));
            const auto ids = table->Scan({});
            std::vector<sql::RowId> found;
            while (ids->Next()) {
                found.push_back(ids->CurrentRow());
            }
            ASSERT_EQ(found.size(), rows.size()) << file;
            std::vector<std::size_t> all(table->Columns().size());
            std::iota(all.begin(), all.end(), std::size_t{0});
            const auto scan = table->Scan(all);
            for (std::size_t k = found.size(); k-- > 0;) {
                ASSERT_TRUE(scan->Seek(found[k])) << file;
                EXPECT_EQ(scan->CurrentRow(), found[k]);
                EXPECT_EQ(ShowRow(scan->Row()), rows[k]);
                EXPECT_EQ(scan->Next(), k + 1 < found.size());
                if (k + 1 < found.size()) {
                    EXPECT_EQ(ShowRow(scan->Row()), rows[k + 1]);
                }
            }
            EXPECT_FALSE(scan->Seek(-1));
            EXPECT_FALSE(scan->Seek(static_cast<sql::RowId>(file.size())));
        }
    }
}

TEST(TextScan, UnreadableFieldTellsFileLineColumnValueAndRemedy) {
    TextFolder folder;
    folder.Schema("[f.csv]\nMaxScanRows=2\n[g.csv]\nCol1=a Long\nCol2=b Text");
    folder.Write("f.csv", "id,qty\r\n1,5\r\n\r\n2,\"6\"\r\n3,\"1\n\n0\"\r\n4,abc\r\n");
    const auto table = folder.Open("f.csv");
    const std::size_t wanted[] = {1};
    const auto scan = table->Scan(wanted);
    scan->Next();
    scan->Next();
    ASSERT_TRUE(scan->Next());
    EXPECT_EQ(scan->FieldError(0).Description().find("File '" + (folder.Dir() / "f.csv").string() +
                                                     "', line 5, column 'qty': the value '1  0'"),
              0U)
        << scan->FieldError(0).Description();
    ASSERT_TRUE(scan->Next());
    const DataError error = scan->FieldError(0);
    EXPECT_EQ(error.Number(), kErrConversion);
    for (const char* const words :
         {"line 8", "'abc'", "a whole number from -2147483648", "first 2 rows", "MaxScanRows=0"}) {
        EXPECT_TRUE(Has(error.Description(), words));
    }
    folder.Write("g.csv", "h\nx,\0\n"s + std::string(70000, ' ') + ",\0\n"s);
    EXPECT_TRUE(Has(ErrorOf([&] { folder.Open("g.csv"); }), "NUL"));
    folder.Write("g.csv", "h\n" + std::string(70000, '1') + ",b\nx,\0\n"s);
    EXPECT_EQ(folder.Rows("g.csv"), (Lines{"!!!|'b'", "!!!|!!!"}));
}

// Each says where it is and what to do; a row of which a part would be lost is none.
TEST(TextScan, RowsThatDoNotFitTheTableTellTheirLine) {
    TextFolder folder;
    folder.Schema(
        "[f.csv]\nMaxScanRows=1\n[w.csv]\nCol1=a Text Width 3\nCol2=b Text\n[x.txt]\n"
        "Format=FixedLength\nColNameHeader=False\nCol1=a Text Width 2\n");
    const auto error_of = [&](const char* file, std::size_t column, int row) {
        const auto table = folder.Open(file);
        const auto scan = table->Scan(std::span(&column, 1));
        for (int k = 0; k < row; ++k) {
            EXPECT_TRUE(scan->Next());
        }
        EXPECT_EQ(scan->Row()[0].Kind(), ValueKind::Unreadable);
        return scan->FieldError(0).Description();
    };
    folder.Write("f.csv", "a,b\n1,x\n\n2,Ada, Ltd\n3,y\n4,\"open\n5,z\r\n6,z\n\n");
    EXPECT_TRUE(Has(error_of("f.csv", 0, 2), "line 4: the row has 3 fields, the table 2 columns."));
    EXPECT_TRUE(
        Has(error_of("f.csv", 1, 4), "line 6: a text qualifier opens a value and is never"));
    EXPECT_TRUE(Has(error_of("f.csv", 1, 4), "so that 2 more lines up to the end"));
    EXPECT_EQ(folder.Open("f.csv")->CountRows(), 4);
    // A return at the end of 64 KiB, and its feed behind them.
    folder.Write("f.csv", "a,b\n1," + std::string((64 << 10) - 7, 'x') + "\r\n2,Ada, Ltd\n");
    EXPECT_TRUE(Has(error_of("f.csv", 0, 2), "line 3: the row has 3 fields"));
    // Files of this size are counted in two halves: here the middle is in a text.
    std::string text = "a,b\n1,\"";
    while (text.size() < std::size_t{5} << 20) {
        text += "x\n";
    }
    folder.Write("f.csv", text + "\"\n2,y\n");
    EXPECT_EQ(folder.Open("f.csv")->CountRows(), 2);
    folder.Write("f.csv", text.replace(text.find('"'), 1, "") + "y\n");
    const auto table = folder.Open("f.csv");
    vantry::test::VerdictBy bad_sector([](const file::Call& call) {
        return file::Verdict{.error = call.offset >> 20 == 4 ? EIO : 0};  // in the second half
    });
    const vantry::test::InstalledPlan installed(bad_sector);
    EXPECT_TRUE(Has(ErrorOf([&] { table->CountRows(); }), "f.csv"));
    folder.Write("w.csv", "h\nabc,x\nabcd,x\nabc," + std::string(256, 'y') + "\n");
    EXPECT_TRUE(Has(error_of("w.csv", 0, 2),
                    "line 3, column 'a': the value 'abcd' is not a text of at most 3 characters."));
    EXPECT_TRUE(Has(error_of("w.csv", 1, 3), "at most 255 characters.  Shorten the value"));
    folder.Write("x.txt", "ab\nab  \nabc\n");
    EXPECT_TRUE(Has(error_of("x.txt", 0, 3), "line 3: the line goes on behind its last column"));
    // A header that isn't closed would be one name of all the file.
    folder.Write("f.csv", "a,\"b\n1,x\n2,y\n");
    EXPECT_TRUE(Has(ErrorOf([&] { folder.Open("f.csv"); }), "line 1: a text qualifier opens"));
}

// "05-01-06" may be a code, or a day of 2005 or of 2006; and where dates begin with the year,
// "05/01/2006" may be one in January or in May.
TEST(TextScan, DatesThatMightBeOfAnyOrderAreTextUnlessTheColumnIsDeclared) {
    TextFolder folder;
    folder.Write("f.csv",
                 "a,b,c,d,e\n05-01-06,2005-01-06,05-Jan-06,12:30:15,05/01/2006\n"
                 "07/02/03,05-01-06,05-Feb-06,1:05:06,13/01/2006 10:00\n");
    folder.Schema("[f.csv]\nMaxScanRows=1\n");
    EXPECT_EQ(folder.Columns("f.csv"), "a 202/255, b 7/8, c 7/8, d 7/8, e 202/255");
    EXPECT_EQ(folder.Rows("f.csv")[1],
              "'07/02/03'|!!!|#2006-02-05 00:00:00#|#1899-12-30 01:05:06#|'13/01/2006 10:00'");
    folder.Write("g.csv", "a\n05-01-06\n");
    folder.Schema("[g.csv]\nCol1=a DateTime\n");
    EXPECT_EQ(folder.Rows("g.csv")[0], "#2005-01-06 00:00:00#");
    SetLocalDateForm({DateOrder::MonthDayYear, '/', true, false});
    EXPECT_EQ(folder.Rows("g.csv")[0], "#2006-05-01 00:00:00#");
    // Nothing is swapped where the order makes no date of it.
    folder.Write("g.csv", "a\n13/12/2024\n12/13/2024\n");
    EXPECT_EQ(folder.Rows("g.csv"), (Lines{"!!!", "#2024-12-13 00:00:00#"}));
    folder.Schema("[f.csv]\nMaxScanRows=1\n");
    EXPECT_EQ(folder.Columns("f.csv"), "a 202/255, b 7/8, c 7/8, d 7/8, e 7/8");
    EXPECT_EQ(folder.Rows("f.csv")[1].substr(0, 15), "'07/02/03'|!!!|");
    folder.Write("g.csv", "a\n05-01-06 10:00\n");
    folder.Schema("");
    EXPECT_EQ(folder.Rows("g.csv")[0], "#2006-05-01 10:00:00#");
    folder.Write("g.csv", "a\n05-01-06\n");
    folder.Schema("[g.csv]\nDateTimeFormat=dd-mm-yy\n");
    EXPECT_EQ(folder.Rows("g.csv")[0], "#2006-01-05 00:00:00#");
    SetLocalDateForm({});
}

TEST(TextScan, FileThatChangesUnderTheScanIsAnError) {
    for (const std::string change : {"grown", "cut", "replaced", "removed"}) {
        TextFolder folder("text", {1024, 1024});
        std::string content = "a,b\n";
        for (int row = 0; row < 1000; ++row) {
            content += "x,1\n";
        }
        folder.Write("f.csv", content);
        const auto file = folder.Dir() / "f.csv";
        const auto table = folder.Open("f.csv");
        const std::size_t wanted[] = {0};
        const auto scan = table->Scan(wanted);
        ASSERT_TRUE(scan->Next());
        if (change == "grown" || change == "cut") {
            std::filesystem::resize_file(file, change == "cut" ? 100 : content.size() + 4);
        } else if (change == "replaced") {
            std::filesystem::rename(folder.Dir().Write("new", content), file);
        } else {
            std::filesystem::remove(file);
        }
        int rows = 1;
        const std::string error = ErrorOf([&] {
            while (scan->Next()) {
                ++rows;
            }
        });
        EXPECT_TRUE(Has(error,
                        "f.csv' was changed by another program while it was read, behind row " +
                            std::to_string(rows) + "."))
            << change;
        EXPECT_THROW(scan->Next(), DataError) << change;
    }
}

}  // namespace
}  // namespace vantry::text
