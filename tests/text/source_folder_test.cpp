// What a text source leaves in its folder: "Schema.ini", and the new names of loaded files.

#include "engine/loaded_file.h"
#include "engine/session_fixture.h"
#include "support/fault_plans.h"
#include "support/temp_dir.h"
#include "text/text_source.h"
#include "text_format/schema_ini.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

namespace vantry::test {
namespace {

TableRec File(const std::string& name, const std::string& delimiter, i16 header) {
    TableRec file;
    file.Name = name;
    file.SFormat = delimiter;
    file.SFirstColLine = header;
    return file;
}

TEST(SchemaIniWriter, KeepsOlderTextOfAnyLineEndAndCharacterSet) {
    const TableRec file[] = {File("ä.csv", ",", 1)};
    const std::string section = SchemaSectionText(file[0], {}, 0);
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"\n", "\r\n\r\n\r\n"},
        {"[a]\nk=1", "\r\n\r\n[a]\r\nk=1\r\n"},
        {"[a]\r\nk=\xE4\xFF\r\n", "\r\n\r\n[a]\r\nk=\xE4\xFF\r\n"},
    };
    for (const auto& [older, kept] : cases) {
        const TempDir folder;
        folder.Write("schema.INI", older);
        WriteSchemaIni(folder.Path().string(), file, {}, 0);
        EXPECT_EQ(folder.Read("schema.INI"), section + kept);
        EXPECT_FALSE(std::filesystem::exists(folder / "Schema.ini"));
    }
    const TempDir folder;
    folder.Write("Schema.ini", "\xEF\xBB\xBF[old]\r\nFormat=TabDelimited");
    WriteSchemaIni(folder.Path().string(), file, {}, 0);
    EXPECT_EQ(folder.Read("Schema.ini"),
              "\xEF\xBB\xBF" + section + "\r\n\r\n[old]\r\nFormat=TabDelimited\r\n");
    folder.Write("Schema.ini",
                 std::string("\xFF\xFE[\0o\0]\0\n\0a\0=\0"
                             "1\0",
                             16));
    WriteSchemaIni(folder.Path().string(), file, {}, 0);
    const auto schema = text::SchemaIni::Load(folder.Path().string());
    ASSERT_NE(schema.Find("ä.csv"), nullptr);
    EXPECT_EQ(schema.Find("o")->Get("a"), "1");
}

TEST(SchemaIniWriter, FailureAtAnyPointLeavesTheOlderFile) {
    const TempDir folder;
    folder.Write("Schema.ini", "old");
    const TableRec file[] = {File("a.csv", ",", 1)};
    int failures = 0;
    for (bool failed = true; failed; ++failures) {
        FailAt plan(failures, ENOSPC, false, Planted::Nothing);
        const InstalledPlan installed(plan);
        try {
            WriteSchemaIni(folder.Path().string(), file, {}, 50);
            failed = false;
        } catch (const DataError&) {
            // Once the new file has its name, only its lasting is in doubt.
            if (plan.Failed() != file::Operation::SyncFolder) {
                EXPECT_EQ(folder.Read("Schema.ini"), "old") << failures;
            }
        }
        EXPECT_EQ(folder.Names().size(), 1U);
    }
    EXPECT_GE(failures, 6);
    // The older file goes only for one that is on the disk.
    OrderOfCalls calls;
    {
        const InstalledPlan installed(calls);
        WriteSchemaIni(folder.Path().string(), file, {}, 50);
    }
    EXPECT_EQ(calls.order, "wsnf");
    EXPECT_EQ(text::SchemaIni::Load(folder.Path().string()).Find("a.csv")->Get("MaxScanRows"),
              "50");
}

// "/data/in;old" would be read as "/data/in", where a file of the same name may stand.
TEST(SchemaIniWriter, RefusesNamesThatWouldBeReadAsOthers) {
    const TempDir parent;
    const auto refused = [&](const char* folder, const char* file) {
        std::filesystem::create_directory(parent / folder);
        const TableRec files[] = {File("a.csv", ",", 1), File(file, ",", 1)};
        try {
            WriteSchemaIni((parent / folder).string(), files, {}, 0);
        } catch (const DataError& error) {
            EXPECT_TRUE(error.Description().ends_with(".")) << error.Description();
            EXPECT_TRUE(std::filesystem::is_empty(parent / folder));
            return true;
        }
        return false;
    };
    for (const char* name : {"in;old", "blank ", "in;"}) {
        EXPECT_TRUE(refused(name, "b.csv")) << name;
    }
    for (const char* name : {"o'brien", "a=b", "a \"b\"", "{x}", "Łódź", "a b"}) {
        EXPECT_FALSE(refused(name, "b.csv")) << name;
    }
    for (const char* name : {"a]b.csv", "[x].csv", "x\ny.csv"}) {
        EXPECT_TRUE(refused("in", name)) << name;
    }
}

class MoveLoadedFileTest : public testing::Test {
protected:
    MoveLoadedFileTest() {
        PollFolder = folder_.Path().string();
        PollRename = "Loaded";
        CurrentRunView = &view_;
    }
    ~MoveLoadedFileTest() override { CurrentRunView = nullptr; }

    TempDir folder_;
    RecordingView view_;
};

TEST_F(MoveLoadedFileTest, AddsTheExtensionAndTheTime) {
    folder_.Write("Orders.CSV", "x");
    EXPECT_EQ(MoveLoadedFile("orders.csv"), kTrue);
    ASSERT_EQ(folder_.Names().size(), 1U);
    // The minutes have no leading zero.
    const std::regex form(
        "Orders.CSV.Loaded_On_[0-9]{2}_[A-Z][a-z]{2}(_[0-9]{2}){2}_[0-9]{1,2}_[0-9]{2}");
    EXPECT_TRUE(std::regex_match(folder_.Names()[0], form)) << folder_.Names()[0];
    EXPECT_TRUE(view_.messages.empty());
}

TEST_F(MoveLoadedFileTest, FailureIsShownAndNothingIsOverwritten) {
    EXPECT_EQ(MoveLoadedFile("missing.csv"), kFalse);
    ASSERT_EQ(view_.messages.size(), 1U);
    EXPECT_EQ(view_.messages[0].find("Unable to Rename File:\r\nThe file '"), 0U)
        << view_.messages[0];

    // Whatever second it is, its name is taken.
    folder_.Write("orders.csv", "new");
    const DateTime begin = Now();
    for (int ahead = 0; ahead < 20; ++ahead) {
        DateTime time = begin;
        time.nanos = (time.nanos + ahead * kNanosPerSecond) % kNanosPerDay;
        folder_.Write("orders.csv.Loaded_On_" + FormatDateTime(time, "dd_mmm_yy_hh_m_ss"), "old");
    }
    EXPECT_EQ(MoveLoadedFile("orders.csv"), kFalse);
    EXPECT_EQ(MoveLoadedFile("../orders.csv"), kFalse);
    EXPECT_EQ(folder_.Read("orders.csv"), "new");
    EXPECT_EQ(view_.messages.size(), 3U);
}

}  // namespace
}  // namespace vantry::test
