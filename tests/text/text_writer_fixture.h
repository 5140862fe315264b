#pragma once
// Sessions between a scripted source and text files of a folder of the test's own.

#include "engine/session_fixture.h"
#include "support/session_steps.h"
#include "support/temp_dir.h"
#include "text/text_writer.h"

#include <filesystem>

namespace vantry::test {

class TextWriterTest : public SessionTest {
protected:
    TextWriterTest() {
        TargetType = "TEXT";
        SetTextTarget(folder.Path());
        TextDestHeader = kFalse;
        SetFile(0);
    }
    void SetFile(std::size_t table) {
        DstTables[table].Name = JoinPath(TextDestDir, DstTables[table].Name) + TextDestExt;
    }
    std::string Written(const std::string& name = "dst.txt") const { return folder.Read(name); }
    std::string Run() {
        RunSessionToText("");
        return Written();
    }
    // The former file stands as it was, or there is none.
    void ExpectFormer(bool former) const {
        EXPECT_EQ(IsThere("dst.txt"), former);
        EXPECT_EQ(Written(), former ? "former" : "");
    }
    // As the run finds the folder: with a file of that name, or without.
    void SetFormer(bool former) const {
        std::filesystem::remove(folder / "dst.txt");
        std::filesystem::remove(folder / "dst.txt.partial");
        if (former) {
            folder.Write("dst.txt", "former");
        }
    }
    bool IsThere(const std::string& name) const { return std::filesystem::exists(folder / name); }
    // Lines "k","row k" from 1.
    static std::string Lines(int count) {
        std::string lines;
        for (int k = 1; k <= count; ++k) {
            lines += std::to_string(k) + ",\"row " + std::to_string(k) + "\"\r\n";
        }
        return lines;
    }

    TempDir folder;
};

}  // namespace vantry::test
