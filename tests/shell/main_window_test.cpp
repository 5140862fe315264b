#include "shell/main_window.h"

#include "shell/page_set.h"
#include "shell/small_windows.h"
#include "shell/window_memory.h"
#include "support/has.h"
#include "support/page_driver.h"
#include "support/temp_dir.h"

#include <QAction>
#include <QGroupBox>
#include <QLabel>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QShortcut>
#include <QTimer>

namespace vantry {
namespace {

class MainWindowTest : public ::testing::Test {
protected:
    MainWindowTest() {
        RegisterShellPages();
        RegisterNamedPages({"NavForm", "Form15", "BackupRepo", "RestoreRepo", "CheckSch"});
        SetProgramEnd([this] { ++ended; });
        TheMainWindow().SetActions(
            {[this] { ++created; }, [this] { ++sessions; }, [this] { ++navigators; }});
    }
    ~MainWindowTest() override {
        ClearPages();
        SetProgramEnd([] {});
    }
    static void Trigger(const char* entry) {
        TheMainWindow().findChild<QAction*>(entry)->trigger();
    }
    int ended = 0;
    int created = 0;
    int sessions = 0;
    int navigators = 0;
};

TEST_F(MainWindowTest, HasTheMenusInTheirOrder) {
    EXPECT_EQ(TheMainWindow().windowTitle(), "Vantry 2.0");
    const std::pair<const char*, const char*> menus[] = {
        {"mRep",
         "Repository: Create New Repository...; Backup Repository; -; Restore from the Backup; -; "
         "Exit Ctrl+Q"},
        {"mSesS",
         "Session: Create New Session... Ctrl+N; Open Existing Sessions...; -; Check Status of "
         "Scheduler"},
        {"mWindow", "Window: Show Navigator"},
        {"mHelp", "Help: Contents; Index; Take A Tour; -; About; -; Vantry on the Web"},
    };
    for (const auto& [name, expected] : menus) {
        const auto* const menu = TheMainWindow().findChild<QMenu*>(name);
        ASSERT_NE(menu, nullptr) << name;
        QStringList entries;
        for (const auto* const action : menu->actions()) {
            const QString keys = action->shortcut().toString();
            entries << (action->isSeparator() ? QString("-") : action->text().remove('&')) +
                           (keys.isEmpty() ? QString() : " " + keys);
        }
        EXPECT_EQ((menu->title().remove('&') + ": " + entries.join("; ")).toStdString(), expected);
    }
}

TEST_F(MainWindowTest, AMenuYieldsALetterThatThePageHas) {
    const auto titles = [] {
        QString text;
        for (const auto* const action : TheMainWindow().menuBar()->actions()) {
            text += action->text() + ' ';
        }
        return text.toStdString();
    };
    ShowPage("NavForm");
    auto* const page = FindPage("NavForm");
    HidePage("NavForm");
    QPushButton help("&Help", page);
    QGroupBox frame("&Rows", page);
    QLabel label("&Server", page);
    ShowPage("NavForm");
    EXPECT_EQ(titles(), "Repository &Session &Window Help ");
    HidePage("NavForm");
    EXPECT_EQ(titles(), "&Repository &Session &Window &Help ");
    label.setBuddy(&help);
    ShowPage("NavForm");
    EXPECT_EQ(titles(), "Repository Session &Window Help ");
    ShowPage("Form15");
    EXPECT_EQ(titles(), "&Repository &Session &Window &Help ");
}

TEST_F(MainWindowTest, EntriesOpenWhatTheyName) {
    ScriptedDialogs dialogs;
    const std::pair<const char*, const char*> pages[] = {{"mRepOpen", "BackupRepo"},
                                                         {"mRepStatus", "RestoreRepo"},
                                                         {"mOpenSes", "Form15"},
                                                         {"mStatSes", "CheckSch"},
                                                         {"mAbout", "frmAbout"}};
    for (const auto& [entry, page] : pages) {
        // The small windows wait until they are closed.
        bool was_modal = false;
        QTimer::singleShot(0, qApp, [&, page = page] {
            was_modal = FindPage(page)->isModal();
            EXPECT_TRUE(PageIsVisible(page));
            if (was_modal) {
                HidePage(page);
            }
        });
        Trigger(entry);
        QCoreApplication::processEvents();
        EXPECT_EQ(was_modal,
                  page != std::string_view("Form15") && page != std::string_view("frmAbout"))
            << entry;
        if (auto* const escape = FindPage(page)->findChild<QShortcut*>()) {
            EXPECT_EQ(escape->key(), QKeySequence(Qt::Key_Escape));
            Q_EMIT escape->activated();
            EXPECT_EQ(FindPage(page), nullptr) << entry;
        }
        UnloadPage(page);
    }
    Trigger("mRepNew");
    const auto shortcut = [](const char* entry) {
        return TheMainWindow().findChild<QAction*>(entry)->shortcut().toString().toStdString();
    };
    EXPECT_EQ(shortcut("mCreateNewSes") + " " + shortcut("mExit"), "Ctrl+N Ctrl+Q");
    Trigger("mCreateNewSes");
    Trigger("mShowNavigator");
    EXPECT_EQ(created + sessions + navigators, 3);
    Trigger("mTakeTour");
    Trigger("mVYWeb");
    // Where there is no help beside the program, that is told.
    EXPECT_EQ(dialogs.opened.size() + dialogs.boxes.size(), 2u);
    dialogs.can_open = false;
    Trigger("mContents");
    EXPECT_TRUE(test::Has(dialogs.boxes.back().text, "VY3Help.chm"));
}

TEST_F(MainWindowTest, AsksBeforeItEnds) {
    ScriptedDialogs dialogs;
    dialogs.answers = {BoxAnswer::No, BoxAnswer::No};
    Trigger("mExit");
    TheMainWindow().close();
    EXPECT_EQ(ended, 0);
    EXPECT_EQ(dialogs.TakeBoxes(),
              "none|Exit?|Are you Sure to Exit?|Yes/No\nnone|Exit?|Are you Sure to Exit?|Yes/No");
    dialogs.answers = {BoxAnswer::Yes, BoxAnswer::Yes};
    Trigger("mExit");
    TheMainWindow().close();
    EXPECT_EQ(ended, 2);
}

TEST_F(MainWindowTest, ComesBackWhereItWasLeft) {
    ScriptedDialogs dialogs;
    dialogs.answers = {BoxAnswer::Yes};
    const test::TempDir folder;
    UseWindowMemory(folder / "window.ini");
    ShowPage("NavForm");
    const QRect place(40, 50, 700, 480);
    TheMainWindow().setGeometry(place);
    TheMainWindow().close();
    UseWindowMemory(folder / "window.ini");  // read anew
    ClearPages();
    ShowPage("NavForm");
    EXPECT_EQ(TheMainWindow().geometry(), place);
    UseWindowMemory("");
}

TEST_F(MainWindowTest, APageStaysCentredUntilItIsMoved) {
    auto& frame = TheMainWindow();
    ShowPage("NavForm");
    frame.resize(1000, 800);
    auto* const window = qobject_cast<QMdiSubWindow*>(FindPage("NavForm")->parentWidget());
    const auto off_centre = [&] {
        QCoreApplication::processEvents();
        return frame.frameGeometry().width() - window->width() - 2 * window->x();
    };
    EXPECT_LE(std::abs(off_centre()), 1);
    frame.resize(940, 760);
    EXPECT_LE(std::abs(off_centre()), 1);
    window->move(3, 4);
    frame.resize(900, 700);
    QCoreApplication::processEvents();
    EXPECT_EQ(window->pos(), QPoint(3, 4));
}

TEST_F(MainWindowTest, TheSplashGivesWayToTheNavigatorByClickAndToNothingByKey) {
    ShowPage("frmSplash");
    auto* const image = FindPage("frmSplash")->findChild<QLabel*>("Image1");
    SendMouse(image, QEvent::MouseButtonRelease, QPoint(5, 5));
    EXPECT_EQ(FindPage("frmSplash"), nullptr);
    EXPECT_TRUE(PageIsVisible("NavForm"));
    UnloadAllPages();

    ShowPage("frmSplash");
    SendKey(*FindPage("frmSplash"), Qt::Key_Space);
    EXPECT_TRUE(LoadedPages().empty());
}

}  // namespace
}  // namespace vantry
