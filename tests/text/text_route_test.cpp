// Text files copied to text files by the real text driver.

#include "engine/session_fixture.h"
#include "support/session_steps.h"
#include "support/temp_dir.h"
#include "text/text_writer.h"

#include <gtest/gtest.h>

namespace vantry::test {
namespace {

class TextRouteTest : public RunTest {
protected:
    TextRouteTest() {
        SourceType = TargetType = "TEXT";
        std::filesystem::create_directory(folder / "in");
        std::filesystem::create_directory(folder / "out");
        SourceConnStr = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + (folder / "in").string() +
                        ";Extended Properties=\"text;FMT=Delimited\";\"";
        SetTextTarget(folder / "out");
        TextDestDelim = ";";
        TextDestQual = "'";
    }

    // A comma-delimited source with a line of names.
    void Source(const std::string& content) {
        folder.Write("in/data.csv", content);
        folder.Write(
            "in/Schema.ini",
            "[data.csv]\r\nFormat=CSVDelimited\r\nColNameHeader=True\r\nMaxScanRows=50\r\n");
    }
    std::string Run() {
        SrcTables.assign(1, TableRec());
        SrcTables[0].Name = "data.csv";
        MapTables();
        RunSessionToText("");
        return folder.Read("out/data.txt");
    }

    TempDir folder;
};

TEST_F(TextRouteTest, ALargeFileArrivesWholeInTheOtherFormat) {
    constexpr int kRows = 60'000;
    const char* const cities[] = {"Zürich", "Kraków", "東京", "Nîmes", "São Paulo"};
    std::string in = "id,city,price,day,note\r\n";
    std::string expected = "id;city;price;day;note\r\n";
    for (int k = 1; k <= kRows; ++k) {
        const std::string id = std::to_string(k);
        const std::string city = cities[k % 5];
        const std::string price = std::to_string(k % 1000) + "." + std::to_string(k % 9 + 1);
        const std::string day = "2021-0" + std::to_string(k % 9 + 1) + "-17";
        std::string note_in;
        std::string note_out;
        if (k % 3 == 0) {
            note_in = "\"  a \"\"quoted\"\", note\r\non two lines " + id + "  \"";
            note_out = "'a \"quoted\", note\r\non two lines " + id + "'";
        } else if (k % 3 == 1) {
            note_in = "plain-" + std::string(static_cast<std::size_t>(k % 200), 'x');
            note_out = "'" + note_in + "'";
        }
        in += id + "," + city + "," + price + "," + day + "," + note_in + "\r\n";
        expected += id + ";'" + city + "';" + price + ";" + day + ";" + note_out + "\r\n";
    }
    Source(in);
    const std::string out = Run();
    EXPECT_EQ(out.size(), expected.size());
    const auto difference = std::mismatch(out.begin(), out.end(), expected.begin(), expected.end());
    EXPECT_TRUE(out == expected) << std::string(difference.first, out.end()).substr(0, 200);
    EXPECT_TRUE(LogHas("\n60000 Rows Loaded")) << view.log;
    EXPECT_EQ(view.counter_changes, kRows);
    EXPECT_EQ(view.bar_max * 10 + view.bar_min, view.bar_value * 10 + 1);
    // Behind the rows that were scanned: a value that doesn't fit its column costs its row.
    Source(in + "many,\x80 5,1,2021-01-01,\r\n7,\x80 5,1,2021-01-01,\r\n");
    EXPECT_TRUE(Run().ends_with("\r\n7;'€ 5';1;2021-01-01;\r\n"));
    for (const char* words : {"\n60001 Rows Loaded", "data.csv", "80002", "'id'", "many"}) {
        EXPECT_TRUE(LogHas(words)) << words << view.log.substr(0, 1000);
    }
}

}  // namespace
}  // namespace vantry::test
