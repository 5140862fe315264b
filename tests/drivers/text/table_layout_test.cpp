#include "drivers/text/table_layout.h"

#include "drivers/text/text_folder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

namespace vantry::text {
namespace {

using namespace std::string_literals;
using test::TextFolder;
using vantry::test::ErrorOf;
using vantry::test::Has;

TEST(TableLayout, NamesAndTypesComeFromHeaderAndValues) {
    // Of 25 rows, which are looked at unless more or less are wanted, the last isn't a number.
    std::string rows = "a,b\n";
    for (int row = 1; row <= 30; ++row) {
        rows += row == 25 ? "x,1\n" : row == 26 ? "1,x\n" : "1,1\n";
    }
    // Section, file, columns.
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"", rows, "a 202/255, b 3/4"},
        {"MaxScanRows=24", rows, "a 3/4, b 3/4"},
        {"MaxScanRows=0", rows, "a 202/255, b 202/255"},
        {"",
         "id,name,price,born,zip,note\r\n1,Ann,1.50,2024-01-31,01234,\r\n2,Bo,3,,99999,x\r\n",
         "id 3/4, name 202/255, price 5/8, born 7/8, zip 202/255, note 202/255"},
        {"", "a\n" + std::string(256, 'x') + "\n", "a 203/536870910"},
        {"", "", "F1 202/255"},
        {"ColNameHeader=False", "1,x\n2,y,$5\n", "F1 3/4, F2 202/255, F3 6/8"},
        {"", "F2,b\n1,2,3\n", "F2 3/4, b 3/4, F3 3/4"},
        {"",
         std::string(70, 'x') + "," + std::string(70, 'x') + "\n",
         std::string(64, 'x') + " 202/255, " + std::string(63, 'x') + "1 202/255"},
        {"", "F2\n1,2\n", "F2 3/4, F21 3/4"},
        {"",
         " Unit.Price, [x] ,a!b`c,,  ,qty,QTY,qty\n",
         "Unit#Price 202/255, (x)  202/255, a_b_c 202/255, NoName 202/255, NoName1 202/255, "
         "qty 202/255, QTY1 202/255, qty2 202/255"},
        {"",
         "\xFF\xFEi\0d\0\n\0"
         "1\0\n\0"s,
         "id 3/4"},
        {"CharacterSet=Unicode",
         "i\0d\0\n\0"
         "1\0"s,
         "id 3/4"},
        {"CharacterSet=OEM", "\x84\n1\n", "\xC3\xA4 3/4"},
        {"Format=Delimited(;)\nDecimalSymbol=,", "a;b\n1,5;1.5\n", "a 5/8, b 202/255"},
        {"DateTimeFormat=dd/mm/yyyy", "a,b\n31/12/2024,2024-12-31\n", "a 7/8, b 202/255"},
        {"Col1=x Short\nCol2=\"y.z\" Text Width 7\nCol3=m Memo\nCol4=t Text\nCol5=u Text Width 400",
         "a,b,c\n1,2,3\n",
         "x 2/2, y#z 202/7, m 203/536870910, t 202/255, u 203/536870910"},
        {"Col1=a Bit\nCol2=b Byte\nCol3=c Currency\nCol4=d Single\nCol5=e Decimal\nCol6=f OLE",
         "x\n",
         "a 11/2, b 17/1, c 6/8, d 4/4, e 131/19, f 205/1073741823"},
    };
    for (const auto& [schema, file, columns] : cases) {
        TextFolder folder;
        folder.Write("f.csv", file);
        folder.Schema("[f.csv]\n" + schema);
        EXPECT_EQ(folder.Columns("f.csv"), columns) << schema << "\n" << file;
    }
}

TEST(TableLayout, RefusesWhatIsNoTextWithFileAndLine) {
    TextFolder folder;
    folder.Schema(
        "[set.csv]\nCharacterSet=37\n[word.csv]\nCharacterSet=Latin\n"
        "[fixed.csv]\nFormat=FixedLength\nCol1=a Text\n[known.csv]\nCharacterSet=1252\n");
    const auto path = [&](std::string_view name) { return (folder.Dir() / name).string(); };
    const std::tuple<std::string, std::string, std::vector<std::string>> cases[] = {
        {"nul.csv",
         "a,b\n1,\0\n"s,
         {path("nul.csv"), "line 2", "1 of its first 8", "Choose a text"}},
        {"wide.txt", "a\0,\0b\0\n\0"s, {path("wide.txt"), "CharacterSet=Unicode"}},
        {"control.csv",
         "a,b\n1,2\n\x02\x03\x04\x05\x06,3\n",
         {path("control.csv"), "line 3", "5 of its first", "control characters"}},
        {"utf32.csv", "\xFF\xFE\0\0a\0\0\0"s, {path("utf32.csv"), "UTF-32"}},
        {"set.csv", "a\n", {path("set.csv"), "'37'"}},
        {"fixed.csv", "a\n", {path("fixed.csv"), "width"}},
        {"wide.csv", std::string(255, ',') + "\n", {"Too many fields defined.", "256"}},
    };
    for (const auto& [name, content, words] : cases) {
        folder.Write(name, content);
        const std::string error = ErrorOf([&, file = name] { folder.Open(file); });
        for (const std::string& word : words) {
            EXPECT_TRUE(Has(error, word));
        }
    }
    // A stray one is data, near the start as anywhere.
    folder.Write("stray.csv", "a,b\n1,\x02\n2,x\x1Fy\n");
    EXPECT_EQ(folder.Rows("stray.csv"), (std::vector<std::string>{"1|'\x02'", "2|'x\x1Fy'"}));
    folder.Write("known.csv", "a\n\x02\n");
    EXPECT_EQ(folder.Rows("known.csv"), std::vector<std::string>{"'\x02'"});
    std::filesystem::create_directory(folder.Dir() / "folder.csv");
    EXPECT_TRUE(Has(ErrorOf([&] { folder.Open("folder.csv"); }), "folder"));
}

TEST(TableLayout, LineOfManyThousandColumnsIsAnErrorOrIsCutOff) {
    TextFolder folder;
    const std::string wide(100'000, ',');
    folder.Write("first.csv", wide + "\n1,2\n");
    EXPECT_TRUE(Has(ErrorOf([&] { folder.Open("first.csv"); }), "100001 columns"));
    folder.Schema("[later.csv]\nMaxScanRows=1\n");
    folder.Write("later.csv", "a,b\n1,2\n3,4" + wide + "\n5,6\n");
    EXPECT_EQ(folder.Rows("later.csv"), (std::vector<std::string>{"1|2", "3|4", "5|6"}));
}

// A guess over all rows is remembered, but never for a file that has changed since.
TEST(LayoutCache, ForgetsAFileThatHasChanged) {
    const TextFolder folder;
    const auto file = folder.Dir() / "f.csv";
    const auto path = file.string();
    TableFormat format;
    format.max_scan_rows = 0;
    LayoutCache cache;
    const auto old_time = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    const auto find = [&] { return cache.Find(OpenSource(path, format)); };

    folder.Write("f.csv", "a\n1\n");
    std::filesystem::last_write_time(file, old_time);
    const auto first = find();
    EXPECT_EQ(find(), first);
    EXPECT_EQ(first->row_count, 1);
    format.has_header = false;
    EXPECT_EQ(find()->row_count, 2);
    format.has_header = true;

    folder.Write("f.csv", "a\nx\n");
    const auto second = find();
    EXPECT_EQ(second->columns[0].type, ColumnType::Text);
    EXPECT_NE(find(), second);  // too young to be told from its next version
}

}  // namespace
}  // namespace vantry::text
