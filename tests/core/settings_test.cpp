// Where the programs keep their files, and what their settings say.

#include "core/settings.h"

#include "core/folders.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace vantry {
namespace {

TEST(Folders, WhatTheProgramsKeepLiesBesideThemUnlessTheUserHasAFolderOfHisOwn) {
    const std::tuple<const char*, bool, const char*, const char*, const char*, const char*>
        cases[] = {
            {"/opt/vantry", true, "", "/d", "/home/u", "/opt/vantry"},
            {"/opt/vantry", false, "", "/d", "/home/u", "/d/vantry"},
            {"/opt/vantry", false, "", "", "/home/u", "/home/u/.local/share/vantry"},
            {"/opt/vantry", false, "", "d", "/home/u", "/home/u/.local/share/vantry"},
            {"/opt/vantry", false, "", "", "", "/opt/vantry"},
            {"/usr/lib/vantry", true, "", "", "/root", "/root/.local/share/vantry"},
            {"/opt/vantry", true, "/srv/v", "/d", "/home/u", "/srv/v"},
            {"/usr/lib/vantry", false, "v", "/d", "/home/u", "/d/vantry"},
        };
    for (const auto& [program, can_write, vantry_home, data_home, home, folder] : cases) {
        EXPECT_EQ(WhichApplicationFolder({program, can_write, vantry_home, data_home, home}),
                  folder)
            << program << ' ' << can_write << ' ' << vantry_home << ' ' << data_home;
    }
}

using Words = std::vector<std::string>;

TEST(Settings, EachLineIsTakenOrToldAndACommandSplitsWithoutAShell) {
    Words faults;
    const auto settings = ParseSettings(
        "\xEF\xBB\xBF[Vantry]\r\n; remark\r\nverifyruns = yes\r\nLogGenerations=5\n"
        "SpreadsheetSafe=maybe\nLogGenerations=1000\nVerify=1\nnonsense\nOnFailure=/bin/x \"a b\"",
        "Vantry.ini",
        faults);
    EXPECT_TRUE(settings.VerifyRuns);
    EXPECT_FALSE(settings.SpreadsheetSafe);
    EXPECT_EQ(settings.LogGenerations, 5);
    EXPECT_EQ(settings.OnFailure, (Words{"/bin/x", "a b"}));
    ASSERT_EQ(faults.size(), 4U);
    EXPECT_EQ(faults[0],
              "\"SpreadsheetSafe\" in line 5 of \"Vantry.ini\" takes 1 or 0. The line is passed "
              "over.");
    EXPECT_NE(faults[2].find("\"Verify\" in line 7"), std::string::npos) << faults[2];

    EXPECT_EQ(CommandWords(R"(x  "" "say ""hi""" a"b c"d $HOME ~ *;rm)"),
              (Words{"x", "", "say \"hi\"", "ab cd", "$HOME", "~", "*;rm"}));
    EXPECT_TRUE(CommandWords("x \"open").empty());
}

TEST(Settings, AFileThatOthersCanWriteNamesNoCommandAndIsToldOnce) {
    const test::TempDir folder;
    const auto file = folder.Write("Vantry.ini", "OnFailure=/bin/true\nVerifyRuns=1\n");
    LoadSettings(folder.Path().string());
    EXPECT_EQ(CurrentSettings.OnFailure, Words{"/bin/true"});
    EXPECT_TRUE(TakeSettingsFaults().empty());
    std::filesystem::permissions(file, std::filesystem::perms(0666));
    for (const std::size_t told : {1U, 0U}) {
        LoadSettings(folder.Path().string());
        EXPECT_TRUE(CurrentSettings.OnFailure.empty());
        EXPECT_TRUE(CurrentSettings.VerifyRuns);
        EXPECT_EQ(TakeSettingsFaults().size(), told);
    }
    std::filesystem::remove(file);
    LoadSettings(folder.Path().string());
    EXPECT_FALSE(CurrentSettings.VerifyRuns);
}

}  // namespace
}  // namespace vantry
