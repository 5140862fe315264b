// What a file's header, its values and Schema.ini say of its columns, and the forms of its numbers.

#include "drivers/text/table_layout.h"

#include "data/value_text.h"
#include "drivers/text/number_form.h"
#include "drivers/text/table_format.h"
#include "drivers/text/text_folder.h"
#include "drivers/text/type_guess.h"
#include "text_format/schema_ini.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <random>
#include <sstream>
#include <string>
#include <string_view>

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
        {"",
         "a,b,c,d,e\n1,2.5,1,2024-01-31,5\n$2,007,$2,5,2.50\n,,2.5,,1234567890123456\n",
         "a 6/8, b 202/255, c 5/8, d 202/255, e 202/255"},
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

TEST(CutToCanonical, LeavesWhatADoubleWouldBeWrittenAs) {
    // Text, what is left of it; empty: not cut.
    constexpr std::pair<std::string_view, std::string_view> kCases[] = {
        {"12.50", "12.5"},
        {"-0.00", "0"},
        {"9999999999999990", ""},
        {"1.00000000000000000000", "1"},
        {"123456789.1234567", ""},
        {"007", ""},
        {".5", ""},
        {"1e5", ""},
        {"", ""},
    };
    for (const auto& [given, canonical] : kCases) {
        std::string_view text = given;
        EXPECT_EQ(CutToCanonical(text), !canonical.empty()) << given;
        EXPECT_EQ(text, canonical.empty() ? given : canonical);
    }
}

// Whatever is cut must be what the value is written as by everyone else.
TEST(CutToCanonical, AgreesWithTheTextFormOfDoubles) {
    std::mt19937 random(3);
    for (int round = 0; round < 20000; ++round) {
        std::string number = random() % 2 == 0 ? "-" : "";
        const auto whole = static_cast<int>(random() % 10);
        for (int k = 0; k <= whole; ++k) {
            number += static_cast<char>('0' + random() % (k == 0 ? 10 : 3));
        }
        number += '.';
        for (auto k = random() % 9; k > 0; --k) {
            number += random() % 3 == 0 ? static_cast<char>('0' + random() % 10) : '0';
        }
        std::string_view cut = number;
        if (CutToCanonical(cut)) {
            std::string written;
            AppendDouble(*ParseDouble(number.ends_with('.') ? number + "0" : number), written);
            EXPECT_EQ(cut, written == "-0" ? "0" : written) << number;
        }
    }
}

TEST(TypeOfValue, KeepsAsTextWhatANumberCouldNotGiveBack) {
    constexpr std::pair<ColumnType, std::string_view> kCases[] = {
        // a bar between two texts
        {ColumnType::Long, "7| 7 |0|-2147483648"},
        {ColumnType::Double, "2147483648|999999999999999|1.5|.5|1.|1.5E-3|1E+5|1e-5|-1E5|1.E5"},
        {ColumnType::Text, "1000000000000000|007|-007|+49|00.5|1E999|1E-999|1e|&H1F|NaN|Infinity"},
        {ColumnType::Text, "1E5|12e34|0E0|1-2-03|01/02/03|1.2.03|31-12-99"},
        {ColumnType::Text, "1,234|$1,23|$0.12345|$|$$5|2024-02-30|1.2.3|10.0.0.1|May 5|True"},
        {ColumnType::Currency, "$1,234.50|($5)|-$5|5 $"},
        {ColumnType::DateTime, "2024-01-31|2024-01-31 23:59:59|31-Jan-2024|12:30"},
    };
    SetLocalDateForm({});
    for (const auto& [type, texts] : kCases) {
        std::istringstream parts{std::string(texts)};
        for (std::string text; std::getline(parts, text, '|');) {
            EXPECT_EQ(TypeOfValue(text, {}), type) << text;
        }
    }
    EXPECT_EQ(TypeOfValue(std::string(255, 'x'), {}), ColumnType::Text);
    EXPECT_EQ(TypeOfValue(std::string(256, 'x'), {}), ColumnType::Memo);
    ValueForms comma;
    comma.numbers.decimal_symbol = ",";
    EXPECT_EQ(TypeOfValue("1,5", comma), ColumnType::Double);
    EXPECT_EQ(TypeOfValue("1.5", comma), ColumnType::Text);
}

TEST(SchemaIni, FollowsTheRulesOfPrivateProfiles) {
    const SchemaIni schema = SchemaIni::Parse(
        "Format=TabDelimited\n; comment\r\n  [ Orders.csv ]  \r\nno equals sign\r\n"
        " Format =\tDelimited(;) \r\nformat=TabDelimited\r\n;MaxScanRows=3\r\n"
        "TextDelimiter=\"'\"\nQuoted='a b'\rHalf=\"\r\nEmpty=\"\"\r\n\r\n"
        "[a]b.csv]\r\nk==1\r\n[orders.csv]\r\nMaxScanRows=0\r\n"
        "[ Blank.csv]\r\nk=0\r\n[ blank.csv]\r\nk=1\r\n");
    const SchemaSection* const orders = schema.Find("ORDERS.CSV");
    ASSERT_NE(orders, nullptr);
    EXPECT_EQ(orders->Get("FORMAT"), "Delimited(;)");
    EXPECT_EQ(orders->Get("MaxScanRows"), std::nullopt);  // neither a comment's nor the other's
    EXPECT_EQ(orders->Get("TextDelimiter"), "'");
    EXPECT_EQ(orders->Get("Quoted"), "a b");
    EXPECT_EQ(orders->Get("Half"), "\"");
    EXPECT_EQ(orders->Get("Empty"), "");
    EXPECT_EQ(schema.Find("a]b.csv")->Get("k"), "=1");
    EXPECT_EQ(schema.Find(" BLANK.csv")->Get("k"), "0");  // the file's own name has a blank
    EXPECT_EQ(schema.Find("other.csv"), nullptr);
}

TEST(SchemaIni, IsReadInItsOwnCharacterSet) {
    using namespace std::string_literals;
    for (const std::string& bytes : {"[\xC3\xA4.csv]\nk=v"s,
                                     "\xEF\xBB\xBF[\xC3\xA4.csv]\nk=v"s,
                                     "\xFF\xFE[\0\xE4\0.\0c\0s\0v\0]\0\n\0k\0=\0v\0"s,
                                     "[\xE4.csv]\nk=v"s}) {  // the Windows page of the locale
        const test::TextFolder folder;
        folder.Schema(bytes);
        const SchemaIni schema = SchemaIni::Load(folder.Dir().Path().string());
        const SchemaSection* const section = schema.Find("\xC3\x84.csv");
        ASSERT_NE(section, nullptr) << bytes;
        EXPECT_EQ(section->Get("k"), "v");
    }
}

TableFormat FormatOf(const std::string& lines, const std::string& properties = "text") {
    TableFormat format = FormatOfConnection(ConnectionString::Parse(
        "Provider=Microsoft.Jet.OLEDB.4.0;Extended Properties=\"" + properties + "\";\""));
    const SchemaIni schema = SchemaIni::Parse("[f]\n" + lines);
    ApplySection(schema.Find("f"), format);
    return format;
}

TEST(TableFormat, DelimiterAndQualifierComeFromManySpellings) {
    // Lines of the section, of the connection, delimiter, qualifier.
    const std::array<std::string, 4> cases[] = {
        {"", "text", ",", "\""},
        {"", "text;HDR=Yes;FMT=Delimited(;)", ";", "\""},
        {"Format=CSVDelimited", "text;FMT=TabDelimited", ",", "\""},
        {"Format=tabdelimited", "text", "\t", "\""},
        {"Format=Delimited())", "text", ")", "\""},
        {"Format=Delimited(||)", "text", "|", "\""},
        {"Format=Delimited(\xC2\xA7)", "text", "\xC2\xA7", "\""},
        {"TextDelimiter='", "text", ",", "'"},
        {"TextDelimiter=none", "text", ",", ""},
        {"TextDelimiter=\"\"", "text", ",", ""},
        {"TextDelimiter=ab", "text", ",", "a"},
        {"TextDelimeter='", "text", ",", "'"},
        {"Format=Delimited(')\nTextDelimiter='", "text", "'", ""},
    };
    for (const auto& [lines, properties, delimiter, qualifier] : cases) {
        const TableFormat format = FormatOf(lines, properties);
        EXPECT_EQ(format.delimiter, delimiter) << lines << properties;
        EXPECT_EQ(format.qualifier, qualifier) << lines << properties;
    }
}

TEST(TableFormat, KeysOverrideTheConnectionAndBadValuesCountAsMissing) {
    EXPECT_FALSE(FormatOf("", "text;HDR=No").has_header);
    EXPECT_TRUE(FormatOf("ColNameHeader=on", "text;HDR=No").has_header);
    EXPECT_FALSE(FormatOf("ColNameHeader=maybe", "text;HDR=No").has_header);
    EXPECT_EQ(FormatOf("MaxScanRows=-3").max_scan_rows, 25);
    EXPECT_EQ(FormatOf("MaxScanRows=99999999999").max_scan_rows, 25);
    EXPECT_EQ(FormatOf("CharacterSet=1252", "text;CharacterSet=65001").character_set, "1252");
    EXPECT_EQ(FormatOf("Format=FixedLength\nFixedFormat=TrueFixedLength").layout,
              SplitRules::Layout::TrueFixedLength);
    EXPECT_EQ(FormatOf("FixedFormat=TrueFixedLength").layout, SplitRules::Layout::Delimited);
    EXPECT_EQ(FormatOf("", "text;FMT=Fixed").layout, SplitRules::Layout::RaggedEdge);
}

std::string ShowColumn(const DeclaredColumn& column) {
    std::string shown = column.name + ":" + std::string(TypeWord(column.type));
    shown += column.width > 0 ? " w" + std::to_string(column.width) : "";
    shown += column.type == ColumnType::Decimal
                 ? " p" + std::to_string(column.precision) + " s" + std::to_string(column.scale)
                 : "";
    shown += column.picture ? " " + column.picture->Text() : "";
    return shown;
}

TEST(TableFormat, ColumnLinesHaveNameTypeAndWidth) {
    const std::pair<std::string, std::string> cases[] = {
        {"id Long", "id:Long"},
        {"\"Customer name\" Text Width 30", "Customer name:Text w30"},
        {"\"id Long\"", "id:Long"},
        {"a\tCHAR\tWIDTH 7", "a:Text w7"},
        {"a", "a:Text"},
        {"a Decimal Precision 10 Scale 2", "a:Decimal p10 s2"},
        {"a Date dd/mm/yyyy hh:nn", "a:DateTime dd/mm/yyyy hh:nn"},
        {"a Text Width x", "a:Text"},
    };
    for (const auto& [line, column] : cases) {
        const TableFormat format = FormatOf("Col1=" + line);
        ASSERT_EQ(format.columns.size(), 1U) << line;
        EXPECT_EQ(ShowColumn(format.columns[0]), column) << line;
    }
    EXPECT_EQ(FormatOf("Col1=a Long\nCol3=c Long\nCol2=b Long\nCol5=e Long").columns.size(), 3U);
}

TEST(DatePicture, ReadsItsOwnFormOnly) {
    // Picture, text, date; empty: none.
    constexpr std::array<std::string_view, 3> kCases[] = {
        {"dd/mm/yyyy", "05/12/2024", "2024-12-05 00:00:00"},
        {"dd/mm/yyyy", "31/02/2024", ""},
        {"dd/mm/yyyy", "05/12/2024 ", ""},
        {"DD.MM.YY hh:mm", "05.12.29 7:05", "2029-12-05 07:05:00"},
        {"yyyymmddhhnnss", "20240131235958", "2024-01-31 23:59:58"},
        {"mmm d, yyyy", "feb 3, 2024", "2024-02-03 00:00:00"},
        {"dddd, d mmmm yyyy", "Saturday, 3 February 2024", "2024-02-03 00:00:00"},
        {"yyyy-mm-dd h:nn AM/PM", "2024-01-31 12:05 am", "2024-01-31 00:05:00"},
        {"yyyy-mm-dd h:nn AM/PM", "2024-01-31 13:05 pm", ""},
        {"hh:nn", "24:00", ""},
    };
    for (const auto& [picture, text, expected] : kCases) {
        const auto date = DatePicture(picture).Parse(text);
        std::string shown;
        if (date) {
            AppendIsoDateTime(*date, shown);
        }
        EXPECT_EQ(shown, expected) << picture << " " << text;
    }
}

}  // namespace
}  // namespace vantry::text
