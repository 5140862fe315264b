#include "text_format/schema_ini.h"

#include "drivers/text/table_format.h"
#include "drivers/text/text_folder.h"

#include <gtest/gtest.h>

#include <array>

namespace vantry::text {
namespace {

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
