// Editing a saved session: what its record becomes on the controls, and what goes back.

#include "repository/pages/manager_fixture.h"
#include "support/has.h"

#include <QCheckBox>

namespace vantry::test {
namespace {

class SesEditTest : public ManagerTest {
protected:
    SesEditTest() {
        Save("name", "/x/a.log");
        ShowPage("Form15");
    }
    // Opens the window from the list; `work` runs in it.
    static void Edit(std::function<void()> work) {
        WhenModal([work = std::move(work)] {
            work();
            UnloadPage("SesEdit");
        });
        Press("Form15", "EditButt");
    }
    static void Set(const char* option) {
        Control<QAbstractButton>("SesEdit", option).setChecked(true);
    }
    static void Pick(const char* list, const char* entry) {
        Control<QComboBox>("SesEdit", list).setCurrentText(entry);
    }
    static std::string Row() {
        return Query(
            "select SessionName,LogFileName,SesFreq,SesRunDate,SesRunTime,SesRunDay,"
            "SesWeekDay from sessions where sessionid=1");
    }
};

TEST_F(SesEditTest, EveryKindComesBackAsItIsStored) {
    const std::string time = ToText(Cell::FromDateTime({0, *NanosOf(7, 5, 9)}));
    const std::string date = ToText(Cell::FromDateTime({*DayOf(2027, 3, 4), 0}));
    const std::pair<std::string, const char*> cases[] = {
        {"D|Null|" + time + "|Null|Null", "TimeOpt_0"},
        {"W|Null|" + time + "|Null|1000001", "TimeOpt_1"},
        {"M|Null|" + time + "|31|Null", "TimeOpt_2"},
        {"O|" + date + "|" + time + "|Null|Null", "TimeOpt_3"},
        {"H|Null|Null|23|07", "TimeOpt_4"},
        {"N|Null|Null|59|Null", "TimeOpt_4"},
    };
    for (const auto& [stored, option] : cases) {
        std::vector<std::string> values;
        std::istringstream parts(stored);
        for (std::string part; std::getline(parts, part, '|');) {
            values.push_back(part == "Null" ? part : "\"" + part + "\"");
        }
        Execute("update sessions set SesFreq=" + values[0] + ",SesRunDate=" + values[1] +
                ",SesRunTime=" + values[2] + ",SesRunDay=" + values[3] +
                ",SesWeekDay=" + values[4]);
        const char letter = stored[0];
        Edit([&, option = option] {
            EXPECT_EQ(FindPage("SesEdit")->windowTitle(), "Edit Session");
            EXPECT_EQ(LabelText("SesEdit", "SesID"), "1");
            EXPECT_EQ(Control<QLineEdit>("SesEdit", "SesName").text(), "name");
            EXPECT_EQ(Control<QLineEdit>("SesEdit", "LogName").text(), "/x/a.log");
            EXPECT_TRUE(Control<QAbstractButton>("SesEdit", option).isChecked()) << letter;
            Press("SesEdit", "SaveButton");
        });
        EXPECT_EQ(dialogs_.TakeBoxes(), "none|Successful|Changes Saved|OK");
        std::string row = Row();
        if (letter == 'H') {  // the minute mark is that of the edit
            row.replace(row.rfind('|') + 1, 2, "07");
        }
        EXPECT_EQ(row, "name|/x/a.log|" + stored + "\n");
    }
}

TEST_F(SesEditTest, AChangeGoesFromKindToKindAndTheListKeepsTheFormerName) {
    Edit([&] {
        Type("SesEdit", "SesName", "other");
        dialogs_.choices = {std::nullopt, "/y/b.log"};
        Press("SesEdit", "BrowseButton");
        Press("SesEdit", "BrowseButton");
        EXPECT_EQ(dialogs_.asked_files.at(0).filter, "Log (*.log)|*.log|(*.txt)|*.txt|*.*|*.*");
        for (const auto& [option, box] : {std::pair("Evy_0", "Please Select Hours"),
                                          std::pair("Evy_1", "Please Select Mins")}) {
            Set("TimeOpt_4");
            Set(option);
            EXPECT_EQ(Pressed("SesEdit", "SaveButton"), std::string("none|Vantry|") + box + "|OK");
        }
        EXPECT_EQ(FindPage("SesEdit")->focusWidget(), &Control<QComboBox>("SesEdit", "Mins"));
        Pick("Mins", "1");
        Press("SesEdit", "SaveButton");
    });
    EXPECT_EQ(dialogs_.TakeBoxes(), "none|Successful|Changes Saved|OK");
    EXPECT_EQ(Row(), "other|/y/b.log|N|Null|Null|1|Null\n");
    EXPECT_FALSE(Until([] { return Grid().find("other") != std::string::npos; }, 1300))
        << "the list is read when the page is loaded anew, or somebody else has changed something";
    UnloadPage("Form15");
    ShowPage("Form15");
    EXPECT_TRUE(Has(Grid(), "other"));
}

TEST_F(SesEditTest, WhatMakesNoStatementStaysAndSaysWhy) {
    Edit([&] {
        Set("TimeOpt_2");
        EXPECT_NE(LabelText("SesEdit", "ScheduleNote"), "");
        const std::string box = Pressed("SesEdit", "SaveButton");
        EXPECT_TRUE(box.starts_with("none|Error|Unable to Save Changes\n")) << box;
        EXPECT_NE(FindPage("SesEdit"), nullptr);
        Set("TimeOpt_1");  // no day ticked: stored as it is
        EXPECT_NE(LabelText("SesEdit", "ScheduleNote"), "");
        dialogs_.answers = {BoxAnswer::No, BoxAnswer::No, BoxAnswer::Yes};
        Press("SesEdit", "CancelButton");
        EXPECT_FALSE(CloseBox("SesEdit"));
        EXPECT_EQ(dialogs_.TakeBoxes(),
                  "none|Cancel?|Are you sure to Cancel the changes?|Yes/No\n"
                  "none|Cancel?|Are you sure to Cancel the changes?|Yes/No");
        Press("SesEdit", "CancelButton");
        EXPECT_EQ(FindPage("SesEdit"), nullptr);
    });
    dialogs_.boxes.clear();
    EXPECT_TRUE(Row().starts_with("name|/x/a.log|D|")) << Row();
}

TEST_F(SesEditTest, AnotherRepositorysSessionOfThatNumberIsLeftAlone) {
    BackupRepository(Folder(), folder_ / "backup");
    Edit([&] {
        RestoreRepository(Folder(), folder_ / "backup/VYRepo.mdb", Now());
        Type("SesEdit", "SesName", "other");
        Press("SesEdit", "SaveButton");
    });
    EXPECT_TRUE(Has(dialogs_.TakeBoxes(), "The repository was replaced by another one."));
    EXPECT_TRUE(Row().starts_with("name|")) << Row();
}

TEST_F(SesEditTest, OddRecords) {
    Execute("update sessions set SesFreq=\"W\",SesWeekDay=\"01\"");
    Edit([] {
        std::string ticked;
        for (const char* name : {"WeekDay_0", "WeekDay_1", "WeekDay_2", "WeekDay_6"}) {
            ticked += Control<QCheckBox>("SesEdit", name).isChecked() ? '1' : '0';
        }
        EXPECT_EQ(ticked, "0100");
    });
    Execute("update sessions set SesFreq=\"X\"");
    Press("Form15", "EditButt");
    EXPECT_EQ(FindPage("SesEdit"), nullptr);
    EXPECT_EQ(dialogs_.TakeBoxes(), "");
    Execute("delete from sessions");
    EXPECT_EQ(Pressed("Form15", "EditButt"),
              "none|Error|Error Occurred During Loading of Session Data. Please Try again.|OK");
}

}  // namespace
}  // namespace vantry::test
