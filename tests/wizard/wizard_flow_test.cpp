// The graph of pages, read as tables: each arrow is walked on the pages themselves.

#include "wizard/wizard_flow.h"

#include "core/session_state.h"
#include "programs/all_pages.h"
#include "support/page_driver.h"
#include "support/temp_dir.h"

#include <tuple>

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
        InitSharedState(folder_.Path().string());
        RegisterAllPages();
        RegisterNamedPages({"Form4", "Form15"});
        SetProgramEnd([this] { ++ended_; });
        SourceType.clear();
        TargetType.clear();
        SourceViaOdbc = kFalse;
    }
    ~WizardFlowTest() override {
        ClearPages();
        SetProgramEnd([] {});
    }
    test::TempDir folder_;
    ScriptedDialogs dialogs_;
    int ended_ = 0;
};

TEST_F(WizardFlowTest, FormOneAsksForTheSourceFirst) {
    TargetType = "MySQL";
    ShowPage("Form1");
    EXPECT_EQ(Pressed("Form1", "NXT"), "none|Vantry|Please select the Data Source|OK");
    EXPECT_EQ(TargetType, "");
    Press("Form1", "SOpt_3");
    EXPECT_EQ(Pressed("Form1", "NXT"), "none|Vantry|Please select the Destination Database|OK");
    EXPECT_EQ(SourceType, "MySQL");
    EXPECT_EQ(VisiblePages(), "Form1");
}

// Next of each page is walked where every kind of source meets every kind of target.
TEST_F(WizardFlowTest, PagesLeaveByBack) {
    const std::tuple<const char*, const char*, bool> sources[] = {{"Form6", "Form1", true},
                                                                  {"Form2", "Form1", true},
                                                                  {"Form10", "Form1", true},
                                                                  {"MySQLSrc", "Form1", false},
                                                                  {"MSSQLSrc", "Form1", false},
                                                                  {"Form11", "Form1", false},
                                                                  {"Form11Poll", "Form1", false},
                                                                  {"ODBCSrc", "ODBCSrc", true}};
    for (const auto& [page, back, stays_loaded] : sources) {
        ShowPage(page);
        PressButton(page, "BCK");
        EXPECT_EQ(VisiblePages(), back) << page;
        EXPECT_EQ(FindPage(page) != nullptr, stays_loaded) << page;
        UnloadAllPages();
    }
    const std::pair<const char*, const char*> kinds[] = {{"ACCESS", "Form2"},
                                                         {"FOXPRO", "Form10"},
                                                         {"ORACLE", "Form6"},
                                                         {"MySQL", "MySQLSrc"},
                                                         {"MSSQL", "MSSQLSrc"},
                                                         {"TEXT", "Form11"},
                                                         {"ODBC", "ODBCSrc"},
                                                         {"TEXTPOLL", "Form11Poll"}};
    for (const char* page : {"Form9", "Form8", "Form3", "MySQLDest", "MSSQLDest"}) {
        for (const auto& [kind, source_page] : kinds) {
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
    }
    for (const auto& [kind, source_page] : kinds) {
        SourceType = kind;
        SourceViaOdbc = kTrue;  // isn't asked
        ShowPage("Form12c");
        PressButton("Form12c", "BCK");
        const bool leads_nowhere = SourceType == "ODBC" || SourceType == "TEXTPOLL";
        EXPECT_EQ(VisiblePages(), leads_nowhere ? "" : source_page) << kind;
        EXPECT_EQ(FindPage("Form12c"), nullptr);
        UnloadAllPages();
    }
}

TEST_F(WizardFlowTest, CancelAndCloseBoxAskInThePagesOwnWords) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
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
        {"Form11", "Cancel", "Are you sure you want to cancel this Session?"},
        {"Form11Poll", "Cancel", "Are you sure you want to cancel this Session?"},
        {"Form12c", "Cancel", "Are you sure you want to cancel this session?"},
        {"Form13", "Cancel", "Are you sure to you want to cancel this session?"},
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

}  // namespace
}  // namespace vantry
