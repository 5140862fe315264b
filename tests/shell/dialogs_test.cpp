// The real boxes: what of a text they show, and that they can be answered.

#include "shell/dialogs.h"

#include "shell/qt_text.h"
#include "shell/window_memory.h"
#include "support/temp_dir.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCursor>
#include <QDir>
#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QSettings>
#include <QTimer>
#include <QTreeView>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

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

}  // namespace
}  // namespace vantry
