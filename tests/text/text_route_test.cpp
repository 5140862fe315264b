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
        TextDestFormat = "DELIMITED";
        TextDestDir = (folder / "out").string();
        TextDestExt = ".txt";
        TextDestDelim = ";";
        TextDestQual = "'";
        TextDestHeader = kTrue;
    }

    // A comma-delimited source with a line of names.
    void Source(const std::string& content, int scanned_rows = 50) {
        folder.Write("in/data.csv", content);
        folder.Write("in/Schema.ini",
                     "[data.csv]\r\nFormat=CSVDelimited\r\nColNameHeader=True\r\nMaxScanRows=" +
                         std::to_string(scanned_rows) + "\r\n");
    }
    void Map() {
        SrcTables.assign(1, TableRec());
        SrcTables[0].Name = "data.csv";
        MapTables();
    }
    std::string Run() {
        Map();
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
}

TEST_F(TextRouteTest, AValueThatDoesntFitItsColumnCostsItsRowAndIsToldWithItsPlace) {
    std::string in = "id,amount\r\n";
    std::string expected = "id;amount\r\n";
    for (int k = 1; k <= 200; ++k) {
        const bool bad = k == 100 || k == 200;
        in += std::to_string(k) + "," + (bad ? "many" : std::to_string(k * 2)) + "\r\n";
        if (!bad) {
            expected += std::to_string(k) + ";" + std::to_string(k * 2) + "\r\n";
        }
    }
    Source(in);
    EXPECT_EQ(Run(), expected);
    EXPECT_TRUE(LogHas("\n198 Rows Loaded")) << view.log;
    for (const char* words : {"data.csv", "101", "201", "amount", "many"}) {
        EXPECT_TRUE(LogHas(words)) << words << view.log;
    }
}

TEST_F(TextRouteTest, TextOfTheWindowsCodePageBecomesTheMachines) {
    Source("name\r\nM\xFCller\r\n\x80 5\r\n");
    EXPECT_EQ(Run(), "name\r\n'Müller'\r\n'€ 5'\r\n");
}

TEST_F(TextRouteTest, AFixedFileHasItsColumnsOneBehindTheOther) {
    Source("id,name\r\n1,Ærø\r\n20,Zürich\r\n");
    TextDestFormat = "FIXED";
    Map();
    RunSessionToText("");
    const std::string out = folder.Read("out/data.txt");
    const auto width = static_cast<std::size_t>(ColMaps[1].SWidth);
    EXPECT_EQ(out.substr(out.find('\n') + 1),
              "      1Ærø" + std::string(width - 3, ' ') + "\r\n     20Zürich" +
                  std::string(width - 6, ' ') + "\r\n");
}

}  // namespace
}  // namespace vantry::test
