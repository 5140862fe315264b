#pragma once
// The mapping pages as real widgets over real Access files, worked with mouse and keys.

#include "mapping/mapping_session.h"
#include "mapping/pages/editor_grid.h"
#include "mapping/pages/register.h"
#include "shell/main_window.h"
#include "shell/page_set.h"
#include "shell/plate_button.h"
#include "shell/qt_text.h"
#include "shell/small_windows.h"
#include "support/scripted_dialogs.h"

#include <QApplication>
#include <QComboBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QTimer>

#include <functional>
#include <set>

namespace vantry::test {

// Event by event, as the window system sends them.
inline void SendMouse(QWidget* widget, QEvent::Type type, QPoint at) {
    const bool down = type != QEvent::MouseButtonRelease;
    QMouseEvent event(type,
                      at,
                      widget->mapToGlobal(at),
                      type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                      down ? Qt::LeftButton : Qt::NoButton,
                      Qt::NoModifier);
    QApplication::sendEvent(widget, &event);
}
inline void SendKey(QWidget* widget, QEvent::Type type, int key, const QString& text = {}) {
    QKeyEvent event(type, key, Qt::NoModifier, text);
    QApplication::sendEvent(widget, &event);
}
inline void PressKey(QWidget* widget, int key, const QString& text = {}) {
    SendKey(widget, QEvent::KeyPress, key, text);
    SendKey(widget, QEvent::KeyRelease, key, text);
}
inline void Type(QWidget* widget, const QString& text) {
    for (const QChar c : text) {
        PressKey(widget, 0, QString(c));
    }
}

class MappingPages : public testing::Test {
protected:
    MappingPages() {
        RegisterShellPages();
        RegisterMappingPages();
        // Stand-ins for the neighbours: what counts here is which of them is shown.
        for (const char* name : kNeighbours) {
            RegisterPage(name, [name] { return std::make_unique<Page>(name); });
        }
        TheMainWindow().resize(1000, 800);
    }
    ~MappingPages() override {
        UnloadAllPages();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        CloseMainWindow();
    }

    // All visible pages but the one that waits, in one text.
    static std::string Visible() {
        std::string names;
        for (const auto& name : LoadedPages()) {
            if (PageIsVisible(name)) {
                names += (names.empty() ? "" : " ") + name;
            }
        }
        return names;
    }
    static bool IsLoaded(const std::string& name) { return FindPage(name) != nullptr; }

    template <class T>
    static T* Control(const char* page, const char* name) {
        Page* const found = FindPage(page);
        T* const control = found == nullptr ? nullptr : found->findChild<T*>(name);
        EXPECT_NE(control, nullptr) << page << '.' << name;
        return control;
    }
    static void Press(const char* page, const char* button) {
        Control<PlateButton>(page, button)->click();
    }

    static QPoint CellAt(const EditorGrid* grid, int row, int column) {
        return grid->visualRect(grid->model()->index(row, column)).center();
    }
    static void ClickCell(EditorGrid* grid, int row, int column) {
        grid->setFocus();
        SendMouse(grid->viewport(), QEvent::MouseButtonPress, CellAt(grid, row, column));
        SendMouse(grid->viewport(), QEvent::MouseButtonRelease, CellAt(grid, row, column));
    }
    // The user's choice of an item.
    static void Pick(QComboBox* list, const char* item) {
        const int index = list->findText(item, Qt::MatchExactly | Qt::MatchCaseSensitive);
        ASSERT_GE(index, 0) << item;
        list->setCurrentIndex(index);
        Q_EMIT list->activated(index);
    }
    // Runs inside the next modal page.
    static void WhenModal(std::function<void()> work) { QTimer::singleShot(0, std::move(work)); }

    // For looking at: a folder in VANTRY_SHOTS gets the picture.
    static void Shoot(QWidget* widget, const std::string& name) {
        if (const char* folder = std::getenv("VANTRY_SHOTS")) {
            QApplication::processEvents();
            widget->grab().save(QString("%1/%2.png").arg(folder, ToQt(name)));
        }
    }

    static constexpr const char* kNeighbours[] = {"Form2",
                                                  "Form3",
                                                  "Form6",
                                                  "Form8",
                                                  "Form9",
                                                  "Form10",
                                                  "Form11",
                                                  "Form12c",
                                                  "Form11Poll",
                                                  "ODBCSrc",
                                                  "MySQLSrc",
                                                  "MSSQLSrc",
                                                  "MySQLDest",
                                                  "MSSQLDest",
                                                  "Form13",
                                                  "NavForm"};

    ScriptedDialogs dialogs_;
    MappingSession session_;
};

}  // namespace vantry::test
