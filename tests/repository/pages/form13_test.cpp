// The session page on a real repository.

#include "repository/pages/form13.h"

#include "connectors/pages/wizard_flow.h"
#include "core/session_state.h"
#include "data/value_text.h"
#include "repository/pages/create_repository.h"
#include "repository/pages/register.h"
#include "repository/repository.h"
#include "shell/small_windows.h"
#include "support/page_driver.h"
#include "support/temp_dir.h"

#include <QCheckBox>
#include <QDateEdit>
#include <QGroupBox>
#include <QTimeEdit>

#include <fstream>

namespace vantry {
namespace {

class NamedPage : public Page {
public:
    explicit NamedPage(const char* name) : Page(name) {}
};

class Form13Test : public ::testing::Test {
protected:
    Form13Test() {
        InitSharedState(folder_.Path().string());
        RegisterShellPages();
        RegisterConnectorPages();
        RegisterRepositoryPages();
        for (const char* name : {"Form4", "Form14"}) {
            RegisterPage(name, [name] { return std::make_unique<NamedPage>(name); });
        }
        SourceType = "ACCESS";
        TargetType = "ORACLE";
        SourceConnStr = "source";
        SrcTables.assign(1, {});
        DstTables.assign(1, {});
        ColMaps.clear();
        CreateNewRepository(folder_.Path().string());
        EXPECT_EQ(dialogs_.TakeBoxes(), "none|Vantry|New Repository Created|OK");
    }
    ~Form13Test() override { ClearPages(); }

    // Columns of the newest session, "-" for null.
    static std::string Saved(const std::string& columns) {
        Recordset rows;
        rows.Open("select " + columns + " from sessions order by sessionid desc", RepoConnStr);
        std::string text;
        for (std::int32_t i = 0; i < rows.Fields().Count(); ++i) {
            const Cell& cell = rows.Fields()[i].Value();
            text += (i == 0 ? "" : "|") + (cell.IsNull() ? std::string("-") : ToText(cell));
        }
        return text;
    }
    static void Choose(const char* list, const char* text) {
        Control<QComboBox>("Form13", list).setCurrentText(text);
    }
    // Names of the schedule's controls that can be seen.
    static std::string Shown() {
        std::string names;
        for (const char* name : {"SesTime",
                                 "Label6",
                                 "WeekDay_0",
                                 "WeekDay_6",
                                 "LabelChoice",
                                 "SesDay",
                                 "EveDay",
                                 "SesDate",
                                 "Evy_0",
                                 "Evy_1",
                                 "Hrs",
                                 "HrLabel",
                                 "Mins",
                                 "MinLabel"}) {
            if (Control<QWidget>("Form13", name).isVisible()) {
                names += std::string(names.empty() ? "" : " ") + name;
            }
        }
        return names;
    }

    test::TempDir folder_;
    ScriptedDialogs dialogs_;
};

TEST_F(Form13Test, OpensWithNamesOfTheNextSession) {
    Connection repository;
    repository.Open(RepoConnStr, "", "");
    repository.Execute("insert into sessions (sessionid) values (11)");
    repository.Close();
    ShowPage("Form13");
    EXPECT_EQ(LabelText("Form13", "SesID"), "12");
    EXPECT_EQ(Control<QLineEdit>("Form13", "SesName").text(), "ACCESSToORACLESessionID12");
    EXPECT_EQ(FromQt(Control<QLineEdit>("Form13", "LogName").text()),
              (folder_ / "log" / "ACCESSToORACLESessionID12.log").string());
    EXPECT_TRUE(std::filesystem::is_directory(folder_ / "log"));
    dialogs_.choices = {std::nullopt, "elsewhere.log"};
    Press("Form13", "brow");
    EXPECT_TRUE(Control<QLineEdit>("Form13", "LogName").text().endsWith("ID12.log"));
    Press("Form13", "brow");
    EXPECT_EQ(Control<QLineEdit>("Form13", "LogName").text(), "elsewhere.log");
    EXPECT_EQ(dialogs_.asked_files[0].filter, "Log File (*.log)|*.log|All Files (*.*)|*.*");
}

TEST_F(Form13Test, EveryScheduleShowsItsControlsAndStoresItsColumns) {
    struct Case {
        const char* option;
        std::function<void()> set;
        const char* shown;
        const char* stored;  // SesFreq, SesRunDate, SesRunTime, SesRunDay, SesWeekDay
    };
    const auto tick = [](std::initializer_list<const char*> days) {
        for (const char* day : days) {
            Control<QCheckBox>("Form13", day).setChecked(true);
        }
    };
    const Case cases[] = {
        {"TimeOpt_0", [] {}, "SesTime Label6", "D|-|19:03:08|-|-"},
        {"TimeOpt_1",
         [&] {
             tick({"WeekDay_0", "WeekDay_4"});
         },
         "SesTime Label6 WeekDay_0 WeekDay_6",
         "W|-|19:03:08|-|1000100"},
        {"TimeOpt_2",
         [] { Choose("SesDay", "31"); },
         "SesTime Label6 LabelChoice SesDay EveDay",
         "M|-|19:03:08|31|-"},
        {"TimeOpt_3",
         [] { Control<QDateEdit>("Form13", "SesDate").setDate(QDate(2026, 12, 24)); },
         "SesTime Label6 LabelChoice SesDate",
         "O|2026-12-24|19:03:08|-|-"},
        {"TimeOpt_4",
         [] { Choose("Hrs", "5"); },
         "Evy_0 Evy_1 Hrs HrLabel Mins MinLabel",
         "H|-|-|5|"},
        {"TimeOpt_4",
         [] {
             Press("Form13", "Evy_1");
             Choose("Mins", "59");
         },
         "Evy_0 Evy_1 Hrs HrLabel Mins MinLabel",
         "N|-|-|59|-"},
    };
    for (const auto& [option, set, shown, stored] : cases) {
        ShowPage("Form13");
        Press("Form13", "FreqOpt_2");
        Press("Form13", option);
        EXPECT_EQ(Shown(), shown) << stored;
        Control<QTimeEdit>("Form13", "SesTime").setTime(QTime(19, 3, 8));
        set();
        Press("Form13", "NXTBUTT");
        EXPECT_EQ(dialogs_.TakeBoxes(), "none|Vantry|Session Saved Successfully|OK");
        EXPECT_EQ(VisiblePages(), "NavForm");
        const std::string row = Saved("SesFreq,SesRunDate,SesRunTime,SesRunDay,SesWeekDay");
        EXPECT_EQ(row.substr(0, std::string_view(stored).size()), stored);
        if (row[0] == 'H') {
            EXPECT_EQ(row.size(), std::string_view(stored).size() + 2) << row;
        }
    }
}

TEST_F(Form13Test, AScheduleThatLacksSomethingStopsTheSave) {
    struct Case {
        const char* option;
        const char* unit;
        const char* box;
    };
    const Case cases[] = {
        {"TimeOpt_1", nullptr, "stop|Stop|Please Select atleast one WeekDay|OK"},
        {"TimeOpt_2", nullptr, "stop|Stop|Please Select a Day|OK"},
        {"TimeOpt_4", "Evy_0", "none|Vantry|Please Enter Hours Interval|OK"},
        {"TimeOpt_4", "Evy_1", "none|Vantry|Please Enter Minutes Interval|OK"},
    };
    ShowPage("Form13");
    for (const auto& [option, unit, box] : cases) {
        Press("Form13", option);
        if (unit != nullptr) {
            Press("Form13", unit);
            const bool hours = std::string_view(unit) == "Evy_0";
            EXPECT_EQ(Control<QComboBox>("Form13", "Hrs").isEnabled(), hours);
            EXPECT_EQ(Control<QComboBox>("Form13", "Mins").isEnabled(), !hours);
        }
        Press("Form13", "NXTBUTT");
        EXPECT_EQ(dialogs_.TakeBoxes(), box);
        EXPECT_EQ(VisiblePages(), "Form13");
    }
    EXPECT_EQ(NextSessionID(), 1) << "nothing was written";
}

TEST_F(Form13Test, EachOptionSavesAndGoesOnAsItSays) {
    CurrentSessionID = 77;
    ShowPage("Form13");
    Press("Form13", "FreqOpt_1");
    EXPECT_FALSE(Control<QGroupBox>("Form13", "Frame1").isEnabled());
    Type("Form13", "SesName", "");
    Press("Form13", "NXTBUTT");
    EXPECT_EQ(VisiblePages(), "Form14");
    EXPECT_EQ(FindPage("Form13"), nullptr);
    EXPECT_EQ(CurrentSessionID, 77);
    EXPECT_EQ(NextSessionID(), 1);
    EXPECT_TRUE(dialogs_.boxes.empty());
    UnloadPage("Form14");

    ShowPage("Form13");
    EXPECT_TRUE(Control<QGroupBox>("Form13", "Frame1").isEnabled());
    Press("Form13", "FreqOpt_0");
    Type("Form13", "SesName", "");
    Press("Form13", "NXTBUTT");
    EXPECT_EQ(dialogs_.TakeBoxes(), "none|Vantry|Please Enter the Session Name|OK");
    Type("Form13", "SesName", "it's mine");
    Press("Form13", "NXTBUTT");
    EXPECT_EQ(dialogs_.TakeBoxes(), "none|Vantry|Session Saved Successfully|OK");
    EXPECT_EQ(VisiblePages(), "Form14");
    EXPECT_EQ(CurrentSessionID, 1);
    EXPECT_EQ(Saved("sessionid,sessionname,sourceconnstr"), "1|it's mine|source");
}

TEST_F(Form13Test, AFailedSaveIsToldAndThePageStays) {
    ShowPage("Form13");
    Type("Form13", "SesName", "a \"quoted\" name");
    Press("Form13", "NXTBUTT");
    ASSERT_EQ(dialogs_.boxes.size(), 1u);
    EXPECT_EQ(dialogs_.TakeBoxes().substr(0, 34), "stop|Error|Unable to Save Session\n");
    EXPECT_EQ(VisiblePages(), "Form13");

    UnloadPage("Form13");
    std::filesystem::remove(RepositoryFile(folder_.Path().string()));
    ShowPage("Form13");
    ASSERT_EQ(dialogs_.boxes.size(), 1u);
    EXPECT_NE(dialogs_.TakeBoxes().find("Create New Repository..."), std::string::npos);
    EXPECT_EQ(VisiblePages(), "Form13") << "a session can be run without a repository";
}

TEST_F(Form13Test, LeavesByBackCancelAndTheCloseBox) {
    ShowPage("Form4");
    HidePage("Form4");
    ShowPage("Form13");
    Press("Form13", "BCKBUTT");
    EXPECT_EQ(VisiblePages(), "Form4");
    HidePage("Form4");
    ShowPage("Form13");
    dialogs_.answers = {BoxAnswer::No, BoxAnswer::No};
    Press("Form13", "CNCLBUTT");
    EXPECT_FALSE(CloseBox("Form13"));
    EXPECT_EQ(dialogs_.TakeBoxes(),
              "none|Cancel|Are you sure to you want to cancel this session?|Yes/No\n"
              "none|Cancel Session|Are you sure you want to close this session|Yes/No");
    dialogs_.answers = {BoxAnswer::Yes};
    Press("Form13", "CNCLBUTT");
    EXPECT_EQ(VisiblePages(), "NavForm");
}

TEST_F(Form13Test, ANewRepositoryKeepsACopyOfTheOld) {
    const std::string folder = folder_.Path().string();
    dialogs_.answers = {BoxAnswer::No, BoxAnswer::Yes};
    CreateNewRepository(folder);
    EXPECT_EQ(dialogs_.TakeBoxes(),
              "none|Create New Repository|The Repository Database Already exist.Are you Sure you "
              "want to OVERWRITE and Create a new Repository\nWARNING! All Existing Sessions will "
              "get lost|Yes/No");
    const auto count = [&] {
        int files = 0;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            const QString name = ToQt(entry.path().filename().string());
            files += name.startsWith("vyrepo", Qt::CaseInsensitive) ? 1 : 0;
        }
        return files;
    };
    EXPECT_EQ(count(), 1);
    CreateNewRepository(folder);
    EXPECT_EQ(dialogs_.boxes.size(), 2u);
    EXPECT_EQ(dialogs_.boxes.back().text, "New Repository Created");
    EXPECT_EQ(count(), 2);
    dialogs_.boxes.clear();
    CreateNewRepository(folder + "/missing");
    EXPECT_EQ(dialogs_.TakeBoxes(), "none|Vantry|Error Creating New Repository|OK");
}

}  // namespace
}  // namespace vantry
