// The graph of pages, read as tables: each arrow is walked on the pages themselves. Pages of other
// rooms stand in by name.

#include "wizard/wizard_flow.h"

#include "connectors/pages/register.h"
#include "core/session_state.h"
#include "shell/small_windows.h"
#include "support/page_driver.h"
#include "support/temp_dir.h"

#include <QListWidget>

namespace vantry {
namespace {

// The buttons have a short name on some pages and a long one on others.
void PressButton(std::string_view page, const std::string& name) {
    const bool is_short = FindPage(page)->findChild<QWidget*>(ToQt(name)) != nullptr;
    Press(page, (is_short ? name : name + "BUTT").c_str());
}

class WizardFlowTest : public ::testing::Test {
protected:
    WizardFlowTest() {
        RegisterShellPages();
        RegisterWizardPages();
        RegisterConnectorPages();
        RegisterNamedPages({"Form4", "Form11", "Form11Poll", "Form12c", "Form15"});
        SetProgramEnd([this] { ++ended_; });
        SourceType.clear();
        TargetType.clear();
        SourceViaOdbc = kFalse;
    }
    ~WizardFlowTest() override {
        ClearPages();
        SetProgramEnd([] {});
    }
    ScriptedDialogs dialogs_;
    int ended_ = 0;
};

TEST_F(WizardFlowTest, FormOneLeadsToTheSourcePageOfEveryKind) {
    const std::tuple<int, const char*, const char*> sources[] = {{0, "ORACLE", "Form6"},
                                                                 {1, "ACCESS", "Form2"},
                                                                 {2, "FOXPRO", "Form10"},
                                                                 {3, "MySQL", "MySQLSrc"},
                                                                 {4, "MSSQL", "MSSQLSrc"},
                                                                 {5, "ODBC", "ODBCSrc"},
                                                                 {6, "TEXT", "Form11"},
                                                                 {7, "TEXTPOLL", "Form11Poll"}};
    const std::pair<int, const char*> targets[] = {
        {0, "ORACLE"}, {1, "ACCESS"}, {2, "FOXPRO"}, {3, "MySQL"}, {4, "MSSQL"}, {6, "TEXT"}};
    ShowPage("Form1");
    EXPECT_FALSE(Control<QRadioButton>("Form1", "SOpt_5").isVisible());
    for (const auto& [source, kind, page] : sources) {
        for (const auto& [target, target_kind] : targets) {
            ShowPage("Form1");
            Control<QRadioButton>("Form1", ("SOpt_" + std::to_string(source)).c_str())
                .setChecked(true);
            Control<QRadioButton>("Form1", ("DOpt_" + std::to_string(target)).c_str())
                .setChecked(true);
            SourceViaOdbc = kTrue;
            Press("Form1", "NXT");
            EXPECT_EQ(SourceType + ">" + TargetType, std::string(kind) + ">" + target_kind);
            EXPECT_EQ(VisiblePages(), page);
            EXPECT_EQ(SourceViaOdbc, kFalse);
            HidePage(page);
        }
    }
}

TEST_F(WizardFlowTest, FormOneAsksForTheSourceFirst) {
    TargetType = "MySQL";
    ShowPage("Form1");
    Press("Form1", "NXT");
    EXPECT_EQ(dialogs_.TakeBoxes(), "none|Vantry|Please select the Data Source|OK");
    EXPECT_EQ(TargetType, "");
    Press("Form1", "SOpt_3");
    Press("Form1", "NXT");
    EXPECT_EQ(dialogs_.TakeBoxes(), "none|Vantry|Please select the Destination Database|OK");
    EXPECT_EQ(SourceType, "MySQL");
    EXPECT_EQ(VisiblePages(), "Form1");
}

TEST_F(WizardFlowTest, SourcePagesLeaveByBackAndNext) {
    struct Case {
        const char* page;
        const char* tables;
        const char* back;
        bool stays_loaded;
    };
    const Case cases[] = {{"Form6", "orclTables", "Form1", true},
                          {"Form2", "mdbtables", "Form1", true},
                          {"Form10", "List1", "Form1", true},
                          {"MySQLSrc", "MySQLSrcTables", "Form1", false},
                          {"MSSQLSrc", "MSSQLSrcTables", "Form1", false},
                          {"ODBCSrc", "ODBCTabs", "ODBCSrc", true}};
    const std::pair<const char*, const char*> targets[] = {{"ORACLE", "Form9"},
                                                           {"ACCESS", "Form8"},
                                                           {"FOXPRO", "Form3"},
                                                           {"MySQL", "MySQLDest"},
                                                           {"MSSQL", "MSSQLDest"},
                                                           {"TEXT", "Form12c"}};
    for (const auto& [page, tables, back, stays_loaded] : cases) {
        ShowPage(page);
        PressButton(page, "BCK");
        EXPECT_EQ(VisiblePages(), back) << page;
        EXPECT_EQ(FindPage(page) != nullptr, stays_loaded) << page;
        UnloadAllPages();
        for (const auto& [kind, target] : targets) {
            TargetType = kind;
            ShowPage(page);
            auto& list = Control<QListWidget>(page, tables);
            list.addItem("t");
            list.item(0)->setSelected(true);
            PressButton(page, "NXT");
            const bool gap =
                std::string_view(page) == "MSSQLSrc" && std::string_view(kind) == "MSSQL";
            EXPECT_EQ(VisiblePages(), gap ? "" : target) << page;
            EXPECT_NE(FindPage(page), nullptr) << page << " is hidden, not unloaded";
            EXPECT_EQ(SourceViaOdbc, ToI16(std::string_view(page) == "ODBCSrc"));
            SourceViaOdbc = kFalse;
            UnloadAllPages();
        }
    }
}

TEST_F(WizardFlowTest, TargetPagesLeaveByBackAndNext) {
    struct Target {
        const char* page;
        const char* status;  // the label that Next goes by, and what it must say
        const char* good;
        const char* next;
    };
    const Target targets[] = {{"Form9", "ValidTxt", "Succesfully connected to Oracle", "Form4"},
                              {"Form8", "ACCStatus", "Connected Succesfully", "Form4"},
                              {"Form3", nullptr, nullptr, "Form4"},
                              {"MySQLDest", "Label2", "Connected Successfully", "MySQLDest Form4"},
                              {"MSSQLDest", nullptr, nullptr, "Form4"}};
    const test::TempDir folder;
    const std::pair<const char*, const char*> sources[] = {{"ACCESS", "Form2"},
                                                           {"FOXPRO", "Form10"},
                                                           {"ORACLE", "Form6"},
                                                           {"MySQL", "MySQLSrc"},
                                                           {"MSSQL", "MSSQLSrc"},
                                                           {"TEXT", "Form11"},
                                                           {"ODBC", "ODBCSrc"},
                                                           {"TEXTPOLL", "Form11Poll"}};
    for (const auto& [page, status, good, next] : targets) {
        for (const auto& [kind, source_page] : sources) {
            for (const i16 via_odbc : {kFalse, kTrue}) {
                SourceType = kind;
                SourceViaOdbc = via_odbc;
                ShowPage(page);
                PressButton(page, "BCK");
                EXPECT_EQ(VisiblePages(), via_odbc != kFalse ? "ODBCSrc" : source_page) << page;
                EXPECT_NE(FindPage(page), nullptr);
                UnloadAllPages();
            }
        }
        ShowPage(page);
        if (status != nullptr) {
            Control<QLabel>(page, status).setText(good);
        }
        if (std::string_view(page) == "Form3") {
            Type(page, "FoxDir", folder.Path().string());
        } else if (std::string_view(page) == "MySQLDest") {
            Control<QComboBox>(page, "MySQLDBCombo").setEditText("shop");
        }
        PressButton(page, "NXT");
        EXPECT_EQ(VisiblePages(), next);
        UnloadAllPages();
    }
}

TEST_F(WizardFlowTest, CancelAndCloseBoxAskInThePagesOwnWords) {
    struct Case {
        const char* page;
        const char* title;
        const char* text;
    };
    const Case cases[] = {
        {"Form1", "Confirm Cancel", "Are you sure to cancel this session?"},
        {"Form3", "Confirm Cancel", "Are you sure to cancel this session?"},
        {"Form2", "Confirm Cancel", "Are you sure to cancel this Session?"},
        {"Form6", "Cancel", "Are you sure to Cancel this Session?"},
        {"Form8", "Cancel", "Are you sure you want to cancel this Session?"},
        {"Form9", "Cancel", "Are you sure you want to cancel this Session?"},
        {"Form10", "Cancel", "Are you sure you want to cancel this Session?"},
        {"MySQLSrc", "Cancel", "Are you sure you want to Cancel this Session?"},
        {"MSSQLSrc", "Cancel", "Are you sure you want to Cancel this Session?"},
        {"MSSQLDest", "Cancel", "Are you sure you want to Cancel this Session?"},
        {"MySQLDest", "Cancel Session", "Are you sure you want to cancel this session"},
    };
    for (const auto& [page, title, text] : cases) {
        SrcTables.assign(2, {});
        ShowPage("Form1");
        ShowPage("Form11Poll");
        ShowPage(page);
        for (const bool yes : {false, true}) {
            dialogs_.answers = {yes ? BoxAnswer::Yes : BoxAnswer::No};
            PressButton(page, "CNCL");
            EXPECT_EQ(dialogs_.TakeBoxes(), std::string("none|") + title + "|" + text + "|Yes/No");
            EXPECT_EQ(FindPage(page) == nullptr, yes) << page;
        }
        EXPECT_EQ(VisiblePages(), "NavForm");
        EXPECT_EQ(SessionPagesOpen(), kFalse);

        ShowPage("Form1");
        ShowPage(page);
        for (const bool yes : {false, true}) {
            dialogs_.answers = {yes ? BoxAnswer::Yes : BoxAnswer::No};
            EXPECT_EQ(CloseBox(page), yes);
            EXPECT_EQ(dialogs_.TakeBoxes(),
                      "none|Cancel Session|Are you sure you want to close this session|Yes/No");
        }
        EXPECT_EQ(VisiblePages(), "NavForm");
        EXPECT_EQ(SrcTables.size(), 2u) << "the session's variables stay";
    }
}

TEST_F(WizardFlowTest, TheNavigatorLeadsOnOrEndsTheProgram) {
    ShowPage("NavForm");
    Press("NavForm", "NXTBUTT");
    EXPECT_EQ(VisiblePages(), "Form1");
    Press("Form1", "BCK");
    EXPECT_EQ(VisiblePages(), "NavForm");
    EXPECT_EQ(FindPage("Form1"), nullptr);
    Press("NavForm", "NavChoice_2");
    Press("NavForm", "NXTBUTT");
    // Where there is no help beside the program, that is told.
    EXPECT_EQ(dialogs_.opened.size() + dialogs_.boxes.size(), 1u);
    dialogs_.boxes.clear();
    EXPECT_EQ(VisiblePages(), "NavForm");
    Press("NavForm", "NavChoice_1");
    Press("NavForm", "NXTBUTT");
    EXPECT_EQ(VisiblePages(), "Form15");
    ShowPage("NavForm");
    Press("NavForm", "CNCLBUTT");
    EXPECT_EQ(ended_, 1);
    EXPECT_TRUE(dialogs_.boxes.empty());
}

TEST_F(WizardFlowTest, TheMenuRefusesASecondSession) {
    CreateNewSession();
    EXPECT_EQ(VisiblePages(), "Form1");
    HidePage("Form1");
    CreateNewSession();
    EXPECT_EQ(dialogs_.TakeBoxes(), "none|Vantry|Session is going on|OK");
    ShowNavigator();
    EXPECT_EQ(VisiblePages(), "");
    UnloadPage("Form1");
    ShowPage("MSSQLSrc");
    EXPECT_EQ(SessionPagesOpen(), kFalse) << "a page that the list lacks";
    ShowNavigator();
    EXPECT_TRUE(PageIsVisible("NavForm"));
}

TEST_F(WizardFlowTest, FileExtensions) {
    const std::pair<const char*, const char*> cases[] = {
        {"a.mdb", "mdb"}, {"a.b.CSV", "CSV"}, {"none", ""}, {"dot.", ""}, {"", ""}};
    for (const auto& [name, extension] : cases) {
        EXPECT_EQ(FileExtOf(name), extension) << name;
    }
}

}  // namespace
}  // namespace vantry
