#pragma once
// The mapping pages as real widgets over real Access files, worked with mouse and keys.

#include "mapping/mapping_session.h"
#include "mapping/pages/editor_grid.h"
#include "mapping/pages/register.h"
#include "shell/small_windows.h"
#include "support/page_driver.h"

#include <QApplication>
#include <QKeyEvent>
#include <QTimer>

#include <functional>

namespace vantry::test {

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

// Replaces what stands in the editable list.
inline void Retype(QComboBox* list, const QString& text) {
    list->lineEdit()->selectAll();
    Type(list, text);
}

class MappingPages : public testing::Test {
protected:
    MappingPages() {
        RegisterShellPages();
        RegisterMappingPages();
        // Stand-ins for the neighbours: what counts here is which of them is shown.
        for (const auto& name :
             QString(
                 "Form2 Form3 Form6 Form8 Form9 Form10 Form11 Form12c Form11Poll ODBCSrc MySQLSrc "
                 "MSSQLSrc MySQLDest MSSQLDest Form13 NavForm")
                 .split(' ')) {
            RegisterPage(FromQt(name),
                         [name] { return std::make_unique<Page>(FromQt(name).c_str()); });
        }
        TheMainWindow().resize(1000, 800);
    }
    ~MappingPages() override { ClearPages(); }

    static bool IsLoaded(const std::string& name) { return FindPage(name) != nullptr; }

    static std::string Headers(const EditorGrid* grid) {
        std::string headers;
        for (int column = 0; column < grid->columnCount(); ++column) {
            headers += FromQt(grid->horizontalHeaderItem(column)->text()) + "|";
        }
        return headers;
    }
    static QPoint CellAt(const EditorGrid* grid, int row, int column) {
        return grid->visualRect(grid->model()->index(row, column)).center();
    }
    static void ClickCell(EditorGrid* grid, int row, int column) {
        grid->setFocus();
        SendMouse(grid->viewport(), QEvent::MouseButtonPress, CellAt(grid, row, column));
        SendMouse(grid->viewport(), QEvent::MouseButtonRelease, CellAt(grid, row, column));
    }
    // Runs inside the next modal page.
    static void WhenModal(std::function<void()> work) { QTimer::singleShot(0, std::move(work)); }

    ScriptedDialogs dialogs_;
    MappingSession session_;
};

}  // namespace vantry::test
