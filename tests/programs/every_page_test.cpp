// What all pages owe to those who don't see well or use no mouse: names and roles of the controls,
// texts that stand out, and a focus that shows; in the colours of a light and of a dark desktop.

#include "core/session_state.h"
#include "mapping/pages/editor_grid.h"
#include "programs/all_pages.h"
#include "repository/pages/create_repository.h"
#include "shell/contrast.h"
#include "shell/main_window.h"
#include "shell/page_look.h"
#include "shell/status_line.h"
#include "support/dark_palette.h"
#include "support/page_driver.h"
#include "support/session_steps.h"
#include "support/temp_dir.h"

#include <QAbstractSpinBox>
#include <QAccessible>
#include <QApplication>
#include <QImage>
#include <QListWidget>
#include <QPushButton>
#include <QTableWidget>
#include <QWheelEvent>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <set>

namespace vantry {
namespace {

constexpr double kReadable = 4.5;

class EveryPage : public ::testing::Test {
protected:
    EveryPage() {
        const std::string folder = folder_.Path().string();
        InitSharedState(folder);
        SourceType = TargetType = "ACCESS";
        SourceConnStr = TargetConnStr =
            test::NewAccessDatabase(folder_ / "shop.mdb",
                                    {"create table customers ([id] Long, [a] Text(9))",
                                     "create table orders ([id] Long, [a] Text(9))"});
        SrcTables.assign(2, {});
        SrcTables[0].Name = "customers";
        SrcTables[1].Name = "orders";
        SrcTables[1].TabID = 1;
        RegisterAllPages();
        CreateNewRepository(folder);
        dialogs_.boxes.clear();
    }
    ~EveryPage() override {
        QApplication::setPalette(light_);
        ClearPages();
    }

    // Calls `look` with each page, loaded and shown, in both themes.
    void Walk(const std::function<void(Page&)>& look) {
        for (const QPalette& theme : {light_, DarkPalette()}) {
            QApplication::setPalette(theme);
            MakeSelectionsReadable();
            std::set<std::string> missed;
            for (const auto& name : RegisteredPages()) {
                if (Page* const page = Show(name)) {
                    SCOPED_TRACE(name + (theme == light_ ? ", light" : ", dark"));
                    look(*page);
                } else {
                    missed.insert(name);
                }
                UnloadPage(name == "Form5" ? "Form4" : name);
                UnloadPage(name);
                // The splash's clock would go on, and show the navigator over another page.
                QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            }
            EXPECT_EQ(missed, std::set<std::string>()) << dialogs_.TakeBoxes();
        }
    }
    static Page* Show(const std::string& name) {
        if (name == "Form5") {
            ShowPage("Form4");  // which reads the columns
        }
        if (LoadPage(name) == nullptr) {
            return nullptr;
        }
        if (name == "Form5") {
            Control<QLabel>(name, "TabIDLabel").setText("0");
            Control<QLabel>(name, "SourceTabName").setText("customers");
            Control<QLabel>(name, "DestTabName").setText("customers");
        }
        ShowPage(name);
        for (auto* const list : FindPage(name)->findChildren<QListWidget*>()) {
            list->addItem("a name");
        }
        QCoreApplication::processEvents();
        return FindPage(name);
    }
    // Those that the user meets, and not what they are made of.
    static std::vector<QWidget*> Controls(const Page& page) {
        std::vector<QWidget*> controls;
        for (auto* const control : page.findChildren<QWidget*>()) {
            bool part = false;
            for (QWidget* above = control->parentWidget(); above != &page;
                 above = above->parentWidget()) {
                part |= qobject_cast<QComboBox*>(above) != nullptr ||
                        qobject_cast<QAbstractSpinBox*>(above) != nullptr;
            }
            // Editors of a grid are hidden until their cell is entered.
            const bool meets =
                control->isVisibleTo(&page) ||
                qobject_cast<EditorGrid*>(control->parentWidget()->parentWidget()) != nullptr;
            if (control->focusPolicy() != Qt::NoFocus && meets && !part && !control->isWindow()) {
                controls.push_back(control);
            }
        }
        return controls;
    }
    // Of what stands out most in a picture to what most of it is.
    static double ContrastIn(const QImage& picture) {
        std::map<QRgb, int> colors;
        for (int y = 0; y < picture.height(); ++y) {
            for (int x = 0; x < picture.width(); ++x) {
                ++colors[picture.pixel(x, y)];
            }
        }
        const auto most = std::max_element(
            colors.begin(), colors.end(), [](auto& a, auto& b) { return a.second < b.second; });
        double contrast = 1;
        for (const auto& [color, count] : colors) {
            contrast = std::max(contrast, ContrastOf(QColor(color), QColor(most->first)));
        }
        return contrast;
    }
    static std::string NameOf(const QWidget& control) {
        return std::string(control.metaObject()->className()) + " " + FromQt(control.objectName());
    }

    const QPalette light_ = QApplication::palette();
    test::TempDir folder_;
    ScriptedDialogs dialogs_;
};

TEST_F(EveryPage, TellsItsControlsByNameAndRole) {
    Walk([](const Page& page) {
        EXPECT_EQ(RepeatedLetters(FromQt(page.objectName())), "");
        for (auto* const control : Controls(page)) {
            QAccessibleInterface* const told = QAccessible::queryAccessibleInterface(control);
            ASSERT_NE(told, nullptr) << NameOf(*control);
            EXPECT_FALSE(told->text(QAccessible::Name).isEmpty()) << NameOf(*control);
            EXPECT_NE(told->role(), QAccessible::NoRole) << NameOf(*control);
            EXPECT_NE(told->role(), QAccessible::Client) << NameOf(*control);
        }
        for (auto* const grid : page.findChildren<QTableWidget*>()) {
            auto* const cells = QAccessible::queryAccessibleInterface(grid)->tableInterface();
            for (int cell = 0; cell < grid->rowCount() * grid->columnCount(); ++cell) {
                const int row = cell / grid->columnCount();
                const int column = cell % grid->columnCount();
                const auto* const item = grid->item(row, column);
                if (item != nullptr && !item->text().isEmpty()) {
                    EXPECT_EQ(cells->cellAt(row, column)->text(QAccessible::Name), item->text());
                }
            }
        }
    });
}

TEST_F(EveryPage, ShowsItsTextsInColoursThatStandOut) {
    Walk([](const Page& page) {
        const auto check =
            [](const QWidget& control, QPalette::ColorRole text, QPalette::ColorRole behind) {
                const QPalette& colors = control.palette();
                EXPECT_GE(ContrastOf(colors.color(QPalette::Active, text),
                                     colors.color(QPalette::Active, behind)),
                          kReadable)
                    << NameOf(control);
            };
        for (const auto* const label : page.findChildren<QLabel*>()) {
            check(*label, label->foregroundRole(), label->backgroundRole());
        }
        for (const auto* const button : page.findChildren<QPushButton*>()) {
            check(*button, QPalette::ButtonText, QPalette::Button);
        }
        for (const auto* const field : page.findChildren<QLineEdit*>()) {
            check(*field, QPalette::Text, QPalette::Base);
            if (!field->placeholderText().isEmpty()) {
                check(*field, QPalette::PlaceholderText, QPalette::Base);
                EXPECT_EQ(field->palette().color(QPalette::PlaceholderText).alpha(), 255);
            }
        }
        for (auto* const grid : page.findChildren<QTableWidget*>()) {
            for (int cell = 0; cell < grid->rowCount() * grid->columnCount(); ++cell) {
                const auto* const item =
                    grid->item(cell / grid->columnCount(), cell % grid->columnCount());
                const QRect place = item == nullptr ? QRect() : grid->visualItemRect(item);
                if (item != nullptr && !item->text().isEmpty() &&
                    grid->viewport()->rect().contains(place)) {
                    EXPECT_GE(ContrastIn(grid->viewport()->grab(place).toImage()), kReadable)
                        << NameOf(*grid) << " " << FromQt(item->text());
                }
            }
        }
        for (const auto role : {QPalette::Window, QPalette::Base}) {
            for (const QColor& color : {WarningColor(page.palette()), LinkColor(page.palette())}) {
                EXPECT_GE(ContrastOf(color, page.palette().color(role)), kReadable)
                    << FromQt(color.name());
            }
        }
    });
}

TEST_F(EveryPage, ShowsWhereTheFocusIs) {
    Walk([](Page& page) {
        page.activateWindow();
        for (auto* const control : Controls(page)) {
            if (!control->isVisibleTo(&page) || !control->isEnabled() ||
                (control->focusPolicy() & Qt::TabFocus) == 0) {
                continue;
            }
            control->setFocus(Qt::TabFocusReason);
            if (!control->hasFocus()) {
                continue;  // it hands it on
            }
            const QImage with = control->grab().toImage();
            control->clearFocus();
            EXPECT_NE(with, control->grab().toImage()) << NameOf(*control);
        }
    });
}

// A screen of 1366 x 768 points at 200 %, less what the window manager takes.
TEST_F(EveryPage, KeepsItsButtonsAndTheFocusInSightOnASmallScreen) {
    const auto seen = [](const QWidget& control) {
        constexpr int kEnough = 40;  // of a list, whose rows scroll by themselves
        const QSize part = control.visibleRegion().boundingRect().size();
        return part.height() >= std::min(control.height(), kEnough) &&
               part.width() >= std::min(control.width(), 3 * kEnough);
    };
    const auto in_tab_order = [](const Page& page) {
        std::string names;
        const QWidget* control = page.nextInFocusChain();
        for (; control != &page; control = control->nextInFocusChain()) {
            if (page.isAncestorOf(control) && control->focusPolicy() != Qt::NoFocus) {
                names += NameOf(*control) + "\n";
            }
        }
        return names;
    };
    Walk([&](Page& page) {
        if (page.WherePlaced() != Page::Place::Frame) {
            return;
        }
        const std::string order = in_tab_order(page);
        TheMainWindow().activateWindow();
        TheMainWindow().resize(671, 348);
        QCoreApplication::processEvents();
        EXPECT_EQ(in_tab_order(page), order);
        for (auto* const button : page.findChildren<QPushButton*>()) {
            if (button->isVisibleTo(&page) && button->parentWidget() == &page) {
                EXPECT_TRUE(seen(*button)) << NameOf(*button);
            }
        }
        for (auto* const list : page.findChildren<QComboBox*>()) {
            const int chosen = list->currentIndex();
            TheMainWindow().setFocus();
            QWheelEvent wheel(
                {5, 5}, {}, {}, {0, -120}, Qt::NoButton, {}, Qt::NoScrollPhase, false);
            QApplication::sendEvent(list, &wheel);
            EXPECT_TRUE(list->currentIndex() == chosen || !list->isVisible())
                << NameOf(*list) << ": who scrolls the page passes over it";
        }
        for (auto* const control : Controls(page)) {
            if (control->isVisibleTo(&page) && control->isEnabled() &&
                (control->focusPolicy() & Qt::TabFocus) != 0) {
                control->setFocus(Qt::TabFocusReason);
                QCoreApplication::processEvents();
                const auto* const focus = QApplication::focusWidget();
                ASSERT_NE(focus, nullptr) << NameOf(*control);
                EXPECT_TRUE(seen(*focus)) << NameOf(*focus);
            }
        }
        TheMainWindow().resize(1000, 800);
    });
}

}  // namespace
}  // namespace vantry
