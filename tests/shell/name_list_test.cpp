#include "shell/name_list.h"

#include "shell/qt_text.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QVBoxLayout>

#include <gtest/gtest.h>

namespace vantry {
namespace {

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
    static void Press(QWidget& widget, int key, Qt::KeyboardModifiers with = Qt::NoModifier) {
        QKeyEvent press(QEvent::KeyPress, key, with);
        QApplication::sendEvent(&widget, &press);
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
    Filter().setText("TABLE3");
    EXPECT_TRUE(list.isRowHidden(0));
    Press(list, Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(Said("Count"), "12 of 40 selected") << "Table3, Table30 to 39, and the hidden one";
    Filter().setText("none of them");
    EXPECT_EQ(Said("Reason"), "No name holds \"none of them\".");
    Press(Filter(), Qt::Key_Escape);
    EXPECT_EQ(FromQt(Filter().text()) + Said("Reason"), "");
    EXPECT_FALSE(list.isRowHidden(0));
    // Ticks count as what is chosen where there are some.
    for (int row = 0; row < list.count(); ++row) {
        list.item(row)->setCheckState(Qt::Unchecked);
    }
    Filter().setText("Table4");
    Press(list, Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(Said("Count"), "2 of 40 selected");
    Fill(3);
    EXPECT_FALSE(list.isRowHidden(0)) << "a new list isn't filtered by what can't be seen";
}

}  // namespace
}  // namespace vantry
