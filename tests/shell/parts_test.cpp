// What pages are made of: the real boxes and choosers, lists of names, and work off the thread of
// the windows.

#include "data/data_error.h"
#include "files/error_of.h"
#include "shell/background_work.h"
#include "shell/dialogs.h"
#include "shell/name_list.h"
#include "shell/qt_text.h"
#include "shell/status_line.h"
#include "shell/window_memory.h"
#include "support/page_driver.h"
#include "support/temp_dir.h"

#include <QApplication>
#include <QCursor>
#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QSettings>
#include <QTimer>
#include <QTreeView>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <thread>

namespace vantry {
namespace {

// Looks at the next box and answers it.
void ShowAndLook(const std::string& text, const std::function<void(QMessageBox&)>& look) {
    bool seen = false;
    QTimer::singleShot(0, qApp, [&] {
        auto* const shown = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(shown, nullptr);
        seen = true;
        look(*shown);
        shown->defaultButton()->click();
    });
    Box box;
    box.text = text;
    EXPECT_EQ(CurrentDialogs().Show(box), BoxAnswer::Ok);
    EXPECT_TRUE(seen);
}

TEST(Boxes, ShowsATextAsItStands) {
    const std::string text = "<b>5</b>\r\nof\r6 rows\nin <Skip>";
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);  // of the work that the box interrupts
    ShowAndLook(text, [](const QMessageBox& box) {
        EXPECT_EQ(QGuiApplication::overrideCursor()->shape(), Qt::ArrowCursor);
        EXPECT_EQ(box.textFormat(), Qt::PlainText);
        EXPECT_EQ(FromQt(box.text()), "<b>5</b>\nof\n6 rows\nin <Skip>");
        EXPECT_TRUE(box.detailedText().isEmpty());
    });
    EXPECT_EQ(QGuiApplication::overrideCursor()->shape(), Qt::WaitCursor);
    QGuiApplication::restoreOverrideCursor();
}

TEST(Boxes, KeepsItsButtonsOnTheScreenUnderALongText) {
    std::string words;
    std::string lines;
    for (int k = 0; k < 3000; ++k) {
        words += "word \xF0\x9F\x98\x80 ";
        lines += "a line\n";
    }
    for (const auto& text : {words, lines, std::string(20000, 'x')}) {
        ShowAndLook(text, [&](QMessageBox& box) {
            const auto* const button = box.defaultButton();
            const QRect place(button->mapToGlobal(QPoint()), button->size());
            EXPECT_TRUE(box.screen()->geometry().contains(place)) << place.bottom();
            EXPECT_FALSE(box.text().contains(QChar::ReplacementCharacter));
            EXPECT_EQ(FromQt(box.detailedText()), text) << "nothing of it is lost";
        });
    }
}

TEST(Choosers, BeginWhereTheLastOfTheirKindWasLeftAndLeaveNothingOfTheToolkits) {
    const test::TempDir folder;
    const std::string kept = folder.Path().string() + "/settings";
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, ToQt(kept));
    UseWindowMemory(folder / "window.ini");
    const std::string file = folder.Write("a.mdb", "");
    const auto choose = [&](const FileChoice& choice, const std::string& name) {
        std::string began;
        QTimer::singleShot(0, qApp, [&] {
            auto* const chooser = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
            ASSERT_NE(chooser, nullptr);
            began = FromQt(chooser->directory().absolutePath());
            chooser->selectFile(ToQt(name));
            name.empty() ? chooser->reject() : static_cast<QDialog*>(chooser)->accept();
        });
        EXPECT_EQ(CurrentDialogs().ChooseFileToOpen(choice).value_or(""), name);
        return began;
    };
    const auto in = [](const std::string& at, const char* patterns) {
        return FileChoice{"Open", std::string("Files|") + patterns, at, ""};
    };
    const test::TempDir other;
    choose(in(folder.Path().string(), "*.mdb;*.accdb"), file);
    choose(in(other.Path().string(), "*.dbc"), other.Write("a.dbc", ""));
    EXPECT_EQ(choose(in("", "*.mdb"), ""), folder.Path().string());
    EXPECT_EQ(choose(in("", "*.dbc"), ""), other.Path().string());
    UseWindowMemory("");
    EXPECT_FALSE(std::filesystem::exists(kept));

    // A folder is known by its files, which can't be chosen themselves.
    QTimer::singleShot(300, qApp, [&] {
        auto* const chooser = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        const auto* const rows = chooser->findChild<QTreeView*>();
        const auto row = rows->model()->index(0, 0, rows->rootIndex());
        EXPECT_EQ(FromQt(row.data().toString()), "a.mdb");
        EXPECT_FALSE(row.flags() & Qt::ItemIsEnabled);
        chooser->reject();
    });
    CurrentDialogs().ChooseFolder("Folder", folder.Path().string());
}

class NameListTest : public ::testing::Test {
protected:
    NameListTest() {
        list.setObjectName("Names");
        list.setProperty("whenEmpty", "Load first.");
        list.setSelectionMode(QAbstractItemView::ExtendedSelection);
        (new QVBoxLayout(&page))->addWidget(&list);
        new NameList(list, page);
        page.show();
    }
    void Fill(int names) {
        list.clear();
        for (int i = 1; i <= names; ++i) {
            list.addItem(QString("Table%1").arg(i));
        }
        QCoreApplication::processEvents();
    }
    std::string Said(const char* part) {
        QCoreApplication::processEvents();
        const auto* const label = page.findChild<QLabel*>(QString("Names") + part);
        return label->isVisible() ? FromQt(label->text()) : std::string();
    }
    QLineEdit& Filter() { return *page.findChild<QLineEdit*>("NamesFilter"); }
    static void SelectAll(QWidget& widget) { SendKey(widget, Qt::Key_A, {}, Qt::ControlModifier); }
    // Whether a widget took it.
    static bool Press(QWidget& widget, int key, Qt::KeyboardModifiers with = Qt::NoModifier) {
        QKeyEvent press(QEvent::KeyPress, key, with);
        QApplication::sendEvent(&widget, &press);
        return press.isAccepted();
    }

    QWidget page;
    QListWidget list{&page};
};

TEST_F(NameListTest, SaysWhyItIsEmpty) {
    EXPECT_EQ(Said("Reason"), "Load first.");
    SayNoneFound(list, "There are none.");
    EXPECT_EQ(Said("Reason"), "There are none.");
    Fill(1);
    EXPECT_EQ(Said("Reason"), "");
    list.clear();
    EXPECT_EQ(Said("Reason"), "Load first.");
}

TEST_F(NameListTest, FiltersManyNamesAndCountsTheChosen) {
    Fill(kNamesWithoutFilter);
    EXPECT_FALSE(Filter().isVisible());
    Fill(kNamesWithoutFilter + 10);
    ASSERT_TRUE(Filter().isVisible());
    EXPECT_EQ(Said("Count"), "0 of 40 selected");
    list.item(0)->setSelected(true);
    Filter().setText(" TABLE3 ");
    EXPECT_TRUE(list.isRowHidden(0));
    SelectAll(list);
    EXPECT_EQ(Said("Count"), "12 of 40 selected") << "Table3, Table30 to 39, and the hidden one";
    Filter().setText("none of them");
    EXPECT_EQ(Said("Reason"), "No name holds \"none of them\".");
    EXPECT_EQ(FromQt(list.accessibleDescription()), "No name holds \"none of them\".");
    EXPECT_TRUE(Press(Filter(), Qt::Key_Escape));
    EXPECT_EQ(FromQt(Filter().text()) + Said("Reason"), "");
    EXPECT_FALSE(Press(Filter(), Qt::Key_Escape)) << "it is the page's now";
    EXPECT_FALSE(list.isRowHidden(0));
    // Ticks count as what is chosen where there are some.
    for (int row = 0; row < list.count(); ++row) {
        list.item(row)->setCheckState(Qt::Unchecked);
    }
    Filter().setText("Table4");
    SelectAll(list);
    EXPECT_EQ(Said("Count"), "2 of 40 selected");
    Fill(3);
    EXPECT_FALSE(list.isRowHidden(0)) << "a new list isn't filtered by what can't be seen";
}

using test::ErrorOf;

TEST(StatusLineTest, ANoticeThatIsCutLeadsToTheRestOfIt) {
    StatusLine line;
    line.resize(260, 24);
    line.show();
    std::string followed;
    const auto follow = [&](const char* what) { return [&followed, what] { followed += what; }; };
    line.Show("a \u2192 b",
              {{{"2 tables have errors: "}, {"orders", follow("o")}, {", "}, {"R&D", follow("r")}},
               NoticeKind::Warning});
    QCoreApplication::processEvents();
    auto& notice = *line.findChild<QLabel*>("StatusNotice");
    EXPECT_EQ(FromQt(notice.accessibleName()), "2 tables have errors: orders, R&D");
    EXPECT_TRUE(notice.text().endsWith("\u2026</a>")) << FromQt(notice.text());
    EXPECT_LE(notice.sizeHint().width(), notice.width());
    Q_EMIT notice.linkActivated("rest");
    line.findChild<QMenu*>("StatusRest")->actions().last()->trigger();
    EXPECT_EQ(followed, "r");
    line.resize(2000, 24);
    EXPECT_FALSE(notice.text().contains(QChar(0x2026))) << FromQt(notice.text());
}

TEST(BackgroundWorkTest, ResultsAndErrorsComeBackWhileTheWindowsLive) {
    int ticks = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] { ++ticks; });
    timer.start(5);
    const auto caller = std::this_thread::get_id();
    const auto worker = InBackground<std::thread::id>([&](const auto&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        return std::this_thread::get_id();
    });
    EXPECT_NE(worker, caller);
    EXPECT_GT(ticks, 2);
    EXPECT_EQ(
        ErrorOf([] { RunInBackground([](const auto&) { throw DataError(1, "of the work"); }); }),
        "of the work");
    EXPECT_THROW(RunInBackground([](const auto&) { throw std::bad_alloc(); }), std::bad_alloc);
    EXPECT_FALSE(IsWaitingForWork());
}

// Leaving a cell may ask a server in the middle of the press on a button, whose release comes while
// the answer is awaited.
TEST(BackgroundWorkTest, AClickThatAWaitDividesIsStillAClick) {
    QPushButton button;
    int clicks = 0;
    QObject::connect(&button, &QPushButton::clicked, [&] { ++clicks; });
    RunInBackground([&](const auto&) {
        QMetaObject::invokeMethod(
            &button, [&] { SendMouse(&button, QEvent::MouseButtonRelease, QPoint(1, 1)); });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    });
    SendMouse(&button, QEvent::MouseButtonPress, QPoint(1, 1));
    EXPECT_EQ(clicks, 0);
    QCoreApplication::processEvents();
    EXPECT_EQ(clicks, 1);
}

// The work holds what it made until it ends by itself, and its own thread lets it go.
TEST(BackgroundWorkTest, GivenUpWorkEndsBehindTheScenes) {
    struct Held {
        explicit Held(std::atomic<std::thread::id>& id) : released_by(id) {}
        ~Held() { released_by = std::this_thread::get_id(); }
        std::atomic<std::thread::id>& released_by;
    };
    std::atomic<std::thread::id> released_by{};
    std::promise<void> answer;
    std::atomic<bool> knew = false;
    QTimer::singleShot(50, qApp, [] {
        EXPECT_TRUE(IsWaitingForWork());
        EXPECT_EQ(ErrorOf([] { RunInBackground([](const auto&) {}); }),
                  "Another answer is being waited for already.");
        SendKey(TheMainWindow(), Qt::Key_A, "a");
        EXPECT_TRUE(IsWaitingForWork());
        SendKey(TheMainWindow(), Qt::Key_Escape);
    });
    EXPECT_EQ(ErrorOf([&] {
                  InBackground<std::shared_ptr<Held>>(
                      [&, future = answer.get_future().share()](const auto& given_up) {
                          auto held = std::make_shared<Held>(released_by);
                          future.wait();
                          knew = given_up();
                          return held;
                      });
              }),
              "The wait for an answer was given up.");
    EXPECT_FALSE(IsWaitingForWork());
    EXPECT_EQ(InBackground<int>([](const auto&) { return 7; }), 7) << "while the other one works";
    EXPECT_EQ(released_by.load(), std::thread::id());
    answer.set_value();
    AwaitAllWork();
    EXPECT_TRUE(knew);
    EXPECT_NE(released_by.load(), std::thread::id());
    EXPECT_NE(released_by.load(), std::this_thread::get_id());
    CloseMainWindow();
}

}  // namespace
}  // namespace vantry
