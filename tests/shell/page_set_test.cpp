#include "shell/page_set.h"

#include "shell/main_window.h"
#include "shell/plate_button.h"
#include "shell/small_windows.h"
#include "support/scripted_dialogs.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>
#include <QVBoxLayout>

namespace vantry {
namespace {

struct Counts {
    int loads = 0;
    int activations = 0;
    int destroyed = 0;
    bool may_close = true;
    bool unload_on_load = false;
};

class Probe : public Page {
public:
    Probe(const char* name, Counts& counts) : Page(name), counts_(counts) {
        edit = new QLineEdit(this);
    }
    ~Probe() override { ++counts_.destroyed; }
    void OnLoad() override {
        ++counts_.loads;
        if (counts_.unload_on_load) {
            UnloadPage(objectName().toStdString());
        }
    }
    void OnActivate() override {
        ++counts_.activations;
        Page::OnActivate();
    }
    bool QueryUnload() override { return counts_.may_close; }

    QLineEdit* edit;

private:
    Counts& counts_;
};

class PlainPage : public Page {
public:
    explicit PlainPage(const char* name) : Page(name) {}
};

class PageSetTest : public ::testing::Test {
protected:
    PageSetTest() {
        RegisterShellPages();
        RegisterPage("One", [this] { return std::make_unique<Probe>("One", one); });
        RegisterPage("Two", [this] { return std::make_unique<Probe>("Two", two); });
    }
    ~PageSetTest() override {
        UnloadAllPages();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        CloseMainWindow();
    }
    Counts one;
    Counts two;
};

TEST_F(PageSetTest, HidingKeepsWhatControlsHoldAndUnloadingLosesIt) {
    ShowPage("One");
    FindPageAs<Probe>("One")->edit->setText("typed");
    HidePage("One");
    EXPECT_FALSE(PageIsVisible("One"));
    ShowPage("One");
    EXPECT_TRUE(PageIsVisible("One"));
    EXPECT_EQ(FindPageAs<Probe>("One")->edit->text(), "typed");
    EXPECT_EQ(one.loads, 1);
    EXPECT_EQ(one.activations, 2);

    ShowPage("Two");
    EXPECT_EQ(LoadedPages(), (std::vector<std::string>{"One", "Two"}));
    EXPECT_THROW(ShowPage("Three"), std::out_of_range);
    UnloadPage("One");
    UnloadPage("One");
    HidePage("One");
    EXPECT_EQ(LoadedPages(), std::vector<std::string>{"Two"});
    EXPECT_EQ(one.destroyed, 0) << "its handlers may still be under way";
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(one.destroyed, 1);
    ShowPage("One");
    EXPECT_EQ(FindPageAs<Probe>("One")->edit->text(), "");
    EXPECT_EQ(one.loads, 2);
}

TEST_F(PageSetTest, APageCanUnloadItselfWhileItIsLoaded) {
    one.unload_on_load = true;
    ShowPage("One");
    EXPECT_EQ(FindPage("One"), nullptr);
    EXPECT_EQ(one.activations, 0);
}

TEST_F(PageSetTest, TheCloseBoxAsksThePageAndCodeDoesNot) {
    ShowPage("One");
    auto* const window = qobject_cast<QMdiSubWindow*>(FindPage("One")->parentWidget());
    ASSERT_NE(window, nullptr);
    one.may_close = false;
    window->close();
    EXPECT_TRUE(PageIsVisible("One"));
    one.may_close = true;
    window->close();
    EXPECT_EQ(FindPage("One"), nullptr);
    ShowPage("One");
    one.may_close = false;
    UnloadPage("One");
    EXPECT_EQ(FindPage("One"), nullptr);
}

TEST_F(PageSetTest, AModalPageReturnsWhenItIsUnloadedOrHidden) {
    ShowPage("Two");
    for (int round = 0; round < 2; ++round) {
        bool seen = false;
        QTimer::singleShot(0, [&] {
            seen = FindPage("One")->isModal() && PageIsVisible("One");
            const auto flags = FindPage("One")->windowFlags();
            EXPECT_FALSE(flags & Qt::WindowMinMaxButtonsHint);
            EXPECT_TRUE(flags & Qt::WindowCloseButtonHint);
            if (round == 0) {
                HidePage("One");
            } else {
                UnloadPage("One");
            }
        });
        ShowPageModal("One");
        EXPECT_TRUE(seen);
    }
    EXPECT_EQ(FindPage("One"), nullptr);
    EXPECT_TRUE(PageIsVisible("Two"));
}

TEST_F(PageSetTest, TabComesToTheChosenOptionOfAGroup) {
    RegisterPage("Options", [] {
        auto page = std::make_unique<PlainPage>("Options");
        auto* const rows = new QVBoxLayout(page.get());
        rows->addWidget(new QLineEdit(page.get()));
        for (const char* name : {"first", "second", "third"}) {
            auto* const option = new QRadioButton(name, page.get());
            option->setObjectName(name);
            rows->addWidget(option);
        }
        return page;
    });
    ShowPage("Options");
    Page* const page = FindPage("Options");
    auto* const edit = page->findChild<QLineEdit*>();
    const auto tab_to = [&] {
        edit->setFocus();
        QKeyEvent tab(QEvent::KeyPress, Qt::Key_Tab, Qt::NoModifier);
        QApplication::sendEvent(edit, &tab);
        return page->focusWidget()->objectName().toStdString();
    };
    EXPECT_EQ(tab_to(), "first") << "none is chosen";
    page->findChild<QRadioButton*>("third")->setChecked(true);
    EXPECT_EQ(tab_to(), "third");
    page->findChild<QRadioButton*>("second")->setChecked(true);
    EXPECT_EQ(tab_to(), "second");
}

TEST_F(PageSetTest, TheWaitNoticeShowsAsLongAsItLives) {
    {
        WaitNotice wait;
        ASSERT_TRUE(PageIsVisible("frmWait"));
        EXPECT_EQ(FindPage("frmWait")->findChild<QLabel*>("Label1")->text(),
                  "Loading Tables Information");
        wait.Close();
        EXPECT_EQ(FindPage("frmWait"), nullptr);
        ShowPage("frmWait");
    }
    EXPECT_NE(FindPage("frmWait"), nullptr) << "closed once only";
}

TEST_F(PageSetTest, PagesHaveOneSizeWhateverTheUserMakesOfIt) {
    LoadPage("One")->resize(300, 100);
    LoadPage("Two")->resize(500, 400);
    const auto window = [](const char* page) {
        return qobject_cast<QMdiSubWindow*>(FindPage(page)->parentWidget());
    };
    const auto go = [](const char* from, const char* to) {
        HidePage(from);
        ShowPage(to);
        QCoreApplication::processEvents();
    };
    ShowPage("One");
    TheMainWindow().resize(1000, 800);
    QCoreApplication::processEvents();
    const QSize first = window("One")->size();
    go("One", "Two");
    EXPECT_EQ(window("Two")->size(), first);
    TheMainWindow().resize(500, 400);
    QCoreApplication::processEvents();
    EXPECT_EQ(window("Two")->size(), TheMainWindow().Area()->viewport()->size());
    TheMainWindow().resize(1000, 800);
    go("Two", "One");
    EXPECT_EQ(window("One")->size(), first);
    window("One")->showMaximized();
    go("One", "Two");
    EXPECT_TRUE(window("Two")->isMaximized());
    window("Two")->showNormal();
    window("Two")->resize(610, 510);
    go("Two", "One");
    EXPECT_FALSE(window("One")->isMaximized());
    EXPECT_EQ(window("One")->size(), QSize(610, 510));
}

TEST_F(PageSetTest, TheKeysGoBackToThePageThatWasCovered) {
    const auto active = [] {
        QCoreApplication::processEvents();
        const auto* const window = TheMainWindow().Area()->activeSubWindow();
        return window == nullptr ? std::string() : window->widget()->objectName().toStdString();
    };
    ShowPage("One");
    QCoreApplication::processEvents();
    auto* const edit = FindPageAs<Probe>("One")->edit;
    edit->setFocus();
    { const WaitNotice wait; }
    EXPECT_EQ(QApplication::focusWidget(), edit);
    EXPECT_EQ(active(), "One");
    ShowPage("Two");
    EXPECT_EQ(active(), "Two");
    UnloadPage("Two");
    EXPECT_EQ(active(), "One");
    EXPECT_EQ(one.activations, 3);
    QLineEdit next(FindPage("One"));
    next.show();
    HidePage("One");
    ShowPage("Two");
    EXPECT_EQ(active(), "Two");
    HidePage("Two");
    ShowPage("One");
    EXPECT_EQ(active(), "One");
    EXPECT_EQ(QApplication::focusWidget(), edit) << "as the page was left";
}

TEST_F(PageSetTest, EnterPressesTheDefaultButtonWhereverTheFocusHasBeen) {
    ShowPage("One");
    QCoreApplication::processEvents();
    auto* const page = FindPage("One");
    int next = 0;
    int other = 0;
    PlateButton buttons[2];
    for (auto& button : buttons) {
        button.setParent(page);
        button.show();
    }
    buttons[0].setDefault(true);
    QObject::connect(&buttons[0], &PlateButton::Click, page, [&] { ++next; });
    QObject::connect(&buttons[1], &PlateButton::Click, page, [&] { ++other; });
    auto* const edit = FindPageAs<Probe>("One")->edit;
    const auto enter = [](Qt::KeyboardModifiers modifiers = {}) {
        QKeyEvent key(QEvent::KeyPress, Qt::Key_Return, modifiers);
        QApplication::sendEvent(QApplication::focusWidget(), &key);
    };
    edit->setFocus();
    enter();
    EXPECT_EQ(next, 1);
    enter(Qt::ControlModifier);
    EXPECT_EQ(next, 1);
    buttons[0].setFocus();
    buttons[1].setFocus();
    enter();
    EXPECT_EQ(other, 1);
    edit->setFocus();
    enter();
    EXPECT_EQ(next, 2);
    buttons[0].setEnabled(false);
    enter();
    EXPECT_EQ(next, 2);
    EXPECT_EQ(other, 1);
}

}  // namespace
}  // namespace vantry
