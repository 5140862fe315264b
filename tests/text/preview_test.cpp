// The first lines of a file and how they fall into columns.

#include "text/preview.h"

#include "data/data_error.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

namespace vantry {
namespace {

using namespace std::string_literals;

std::string Joined(const LineFields& split) {
    std::string text;
    for (const auto field : split.fields) {
        text += "[" + std::string(field) + "]";
    }
    return text + (split.whole ? "" : "!");
}

TEST(PreviewTest, SplitsALine) {
    const std::array<const char*, 4> cases[] = {
        {"a,b", ",", "\"", "[a][b]"},
        {"", ",", "\"", "[]"},
        {",", ",", "\"", "[][]"},
        {"a,b,", ",", "", "[a][b][]"},
        {"1,\"Malmö, Skåne\",x", ",", "\"", "[1][\"Malmö, Skåne\"][x]"},
        {"1,\"Malmö, Skåne\",x", ",", "", "[1][\"Malmö][ Skåne\"][x]"},
        {"1,'a,b',x", ",", "'", "[1]['a,b'][x]"},
        {"\"a,b\",", ",", "\"", "[\"a,b\"][]"},
        {"\"\",x", ",", "\"", "[\"\"][x]"},
        {"1,\"a\"b,x", ",", "\"", "[1]!"},
        {"\"say \"\"hi\"\"\",x", ",", "\"", "!"},
        // A last field isn't looked at.
        {"1,\"open", ",", "\"", "[1][\"open]"},
        {"1,a\"b\"c,2", ",", "\"", "[1][a\"b\"c][2]"},
        {"a||b|c", "||", "\"", "[a][b|c]"},
        {"a,b", "", "\"", "[a,b]"},
        {"a\"b\"c", "\"", "\"", "[a][b][c]"},
        {"ä¦ö", "¦", "\"", "[ä][ö]"},
    };
    for (const auto& [line, delimiter, qualifier, fields] : cases) {
        EXPECT_EQ(Joined(SplitLine(line, delimiter, qualifier)), fields) << line << delimiter;
    }
    EXPECT_EQ(WithoutQualifier("\"say \"\"hi\"\"\"", "\""), "say hi");
    EXPECT_EQ(WithoutQualifier("aba", ""), "aba");
}

class PreviewFileTest : public ::testing::Test {
protected:
    std::string Lines(const std::string& content) {
        std::string text;
        for (const auto& line : ReadPreview(folder_.Write("f.csv", content).string())) {
            text += "[" + line.text + (line.cut ? "..." : "") + "]";
        }
        return text;
    }
    test::TempDir folder_;
};

TEST_F(PreviewFileTest, ReadsLinesOfEveryMaking) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"\n", "[]"},
        {"a\r\nb\r\n", "[a][b]"},
        {"a\nb", "[a][b]"},
        {"a\rb\r", "[a][b]"},
        {"a\n\nb", "[a][][b]"},
        {"\xEF\xBB\xBFid,nåme\n1,2\n", "[id,nåme][1,2]"},
        {"\xFF\xFEi\0d\0\r\0\n\0\x11\x04"s, "[id][Б]"},
        {"\xFE\xFF\0i\0d\0\n\x04\x11"s, "[id][Б]"},
        {"Malm\xF6\n", "[Malmö]"},  // a Windows code page
        {"a\0b\n"s, "[a\0b]"s},
    };
    for (const auto& [content, lines] : cases) {
        EXPECT_EQ(Lines(content), lines);
    }
}

TEST_F(PreviewFileTest, LooksAtTheHeadOfAFileOnly) {
    std::string hundred;
    for (int i = 1; i <= 100; ++i) {
        hundred += std::to_string(i) + "\r\n";
    }
    EXPECT_EQ(Lines(hundred), Lines(hundred + "101\r\n102"));
    // Of the hundred rows below a heading the last stays empty.
    for (const bool names : {true, false}) {
        const PreviewTable table(ReadPreview(folder_.Write("f", hundred + "x").string()),
                                 {",", "\"", names, "F"});
        EXPECT_EQ(table.Rows(), 99u);
        EXPECT_EQ(table.Cell(97, 0), names ? "99" : "98");
        EXPECT_EQ(table.Cell(98, 0), "");
    }

    // Sparse: a line of 8 GB takes neither memory nor time.
    const auto file = folder_.Write("huge.csv", "a,\"b");
    std::filesystem::resize_file(file, 8ull << 30);
    const auto huge = ReadPreview(file.string());
    ASSERT_EQ(huge.size(), 1u);
    EXPECT_TRUE(huge[0].cut);
    EXPECT_EQ(huge[0].text.size(), kPreviewBytes);

    // The cut falls into a character.
    std::string wide(kPreviewBytes - 1, 'x');
    wide += "ööö\n";
    const auto cut = ReadPreview(folder_.Write("wide.csv", wide).string());
    EXPECT_EQ(cut.at(0).text, std::string(kPreviewBytes - 1, 'x'));

    EXPECT_EQ(cut[0].cut, true);
    // The qualifier may be closed behind what was read.
    for (const bool whole : {true, false}) {
        const std::vector<PreviewLine> line = {{"a,\"b,c", !whole}};
        EXPECT_EQ(PreviewTable(line, {",", "\"", true, "F"}).Valid(), !whole);
    }

    EXPECT_THROW(ReadPreview((folder_ / "none").string()), DataError);
    EXPECT_THROW(ReadPreview(folder_.Path().string()), DataError);
}

}  // namespace
}  // namespace vantry
