// The real boxes: what of a text they show, and that they can be answered.

#include "shell/dialogs.h"

#include "shell/qt_text.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QTimer>

#include <gtest/gtest.h>

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
    ShowAndLook(text, [](const QMessageBox& box) {
        EXPECT_EQ(box.textFormat(), Qt::PlainText);
        EXPECT_EQ(FromQt(box.text()), "<b>5</b>\nof\n6 rows\nin <Skip>");
        EXPECT_TRUE(box.detailedText().isEmpty());
    });
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

}  // namespace
}  // namespace vantry
