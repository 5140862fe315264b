#include "repository/log_reader.h"

#include "data/data_error.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

namespace vantry {
namespace {

std::string Lines(const LogReader::Piece& piece) {
    std::string text;
    for (const auto& line : piece.lines) {
        text += line.text + (line.ended ? "|" : "");
    }
    return text;
}

TEST(LogReader, ReadsAnyEncoding) {
    const test::TempDir folder;
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"one\r\ntwo\n\nlast", "one|two||last"},
        {"\xEF\xBB\xBFM\xC3\xA4rz\r\n", "März|"},
        // Western bytes among UTF-8, a sequence that is cut off, and one that says nothing.
        {"M\xE4rz \xE2\x82\xAC \x80 \xC3\nx\xEF\xBF\xBD\n", "März € € Ã|x\uFFFD|"},
        {std::string("a\0b\x1B[2J\tc\n", 10), "a␀b␛[2J\tc|"},
        {std::string("\xFF\xFEz\0\n\n\r\0\n\0\xAC\x20", 12), "z\u0A0A|€"},
        {std::string("\xFE\xFF\0z\0\r\0\n\0\x1B\xD8", 11), "z|␛"},
    };
    for (const auto& [bytes, lines] : cases) {
        const LogReader reader(folder.Write("a.log", bytes));
        EXPECT_EQ(Lines(reader.Read(0, 1000)), lines) << lines;
    }
}

// Whatever the content, a piece that begins at any line reads as it does from the file's start.
TEST(LogReader, APieceReadsTheSameFromAboveAndFromBelow) {
    const test::TempDir folder;
    std::string lines;
    unsigned seed = 1;
    for (int i = 0; i < 300; ++i) {
        seed = seed * 1103515245 + 12345;
        const unsigned length = (seed >> 16) % (i % 10 == 0 ? 15'000 : 300);
        lines +=
            std::string(length, static_cast<char>('a' + i % 26)) + (i % 3 == 0 ? "\r\n" : "\n");
    }
    std::string wide = "\xFF\xFE";
    for (const char c : lines) {
        wide += c;
        wide += '\0';
    }
    for (const std::string& content :
         {lines, wide, std::string(50'000, 'x'), std::string(9000, '\0')}) {
        const LogReader reader(folder.Write("a.log", content));
        std::vector<std::uint64_t> starts;
        std::uint64_t at = 0;
        std::string whole;
        while (true) {
            const auto piece = reader.Read(at, 700);
            if (piece.lines.empty()) {
                break;
            }
            for (const auto& line : piece.lines) {
                EXPECT_LE(line.text.size(), 3 * LogReader::kBlock * 2);
                starts.push_back(line.begin);
                whole += line.text;
            }
            at = piece.end;
        }
        EXPECT_EQ(at, content.size());
        EXPECT_FALSE(Lines(reader.Read(0, content.size())).empty());
        std::size_t line = 0;
        for (std::uint64_t offset = starts[0]; offset < content.size(); offset += 37) {
            while (line + 1 < starts.size() && starts[line + 1] <= offset) {
                ++line;
            }
            ASSERT_EQ(reader.LineStart(offset), starts[line]) << offset;
        }
    }
}

TEST(LogReader, FollowsWhatHappensToTheFile) {
    const test::TempDir folder;
    const std::string path = folder.Write("a.log", "Started at 1\r\nrow").string();
    LogReader reader(path);
    EXPECT_EQ(reader.Look(), LogReader::News::None);
    std::ofstream(path, std::ios::app) << "s\r\nmore\r\n";
    EXPECT_EQ(reader.Look(), LogReader::News::Grown);
    EXPECT_EQ(Lines(reader.Read(14, 1000)), "rows|more|");
    // A run has emptied it and written more than there was.
    std::ofstream(path) << "Started at 2\r\nrows\r\nmore\r\nand more\r\n";
    EXPECT_EQ(reader.Look(), LogReader::News::Anew);
    std::ofstream(path) << "Started at 3";
    EXPECT_EQ(reader.Look(), LogReader::News::Anew);
    folder.Write("b.log", "another file");
    std::filesystem::rename(folder / "b.log", path);
    EXPECT_EQ(reader.Look(), LogReader::News::Anew);
    EXPECT_EQ(Lines(reader.Read(0, 1000)), "another file");
    std::filesystem::remove(path);
    EXPECT_EQ(reader.Look(), LogReader::News::None);
    EXPECT_EQ(Lines(reader.Read(0, 1000)), "another file");
}

TEST(LogReader, WhatIsNoFileIsRefused) {
    const test::TempDir folder;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    for (const std::string& path :
         {(folder / "pipe").string(), folder.Path().string(), (folder / "missing").string()}) {
        EXPECT_THROW(LogReader{path}, DataError) << path;
    }
}

}  // namespace
}  // namespace vantry
