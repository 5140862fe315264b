// The tables of losses in help and README are what the judges say today. VANTRY_WRITE_TABLES=1
// writes them anew.

#include "check/loss_table.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace vantry {
namespace {

constexpr std::string_view kBegin = "<!-- losses: written by check_tests -->\n";
constexpr std::string_view kEnd = "<!-- end of losses -->\n";

void ExpectCurrent(const std::string& file, const std::string& table) {
    const std::filesystem::path path = std::filesystem::path(VANTRY_TREE) / file;
    std::ifstream in(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    const auto begin = text.find(kBegin);
    const auto end = text.find(kEnd);
    ASSERT_TRUE(begin != std::string::npos && end > begin && end != std::string::npos) << file;
    const auto from = begin + kBegin.size();
    if (std::getenv("VANTRY_WRITE_TABLES") != nullptr) {
        std::ofstream(path, std::ios::binary) << text.substr(0, from) + table + text.substr(end);
        return;
    }
    EXPECT_TRUE(text.substr(from, end - from) == table)
        << file << " is of another day: run check_tests with VANTRY_WRITE_TABLES=1";
}

TEST(LossTable, HelpAndReadmeAreCurrent) {
    setenv("LC_ALL", "C.UTF-8", 1);
    ExpectCurrent("help/losses.html", LossesAsHtml());
    ExpectCurrent("README.md", LossesAsMarkdown());
}

}  // namespace
}  // namespace vantry
