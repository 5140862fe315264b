#pragma once
// Drives loaded pages by the names of their controls.

#include "shell/main_window.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "support/scripted_dialogs.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QCoreApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMdiSubWindow>
#include <QRadioButton>

namespace vantry {

// The control of a loaded page; a missing one ends the test.
template <class T>
T& Control(std::string_view page, const char* name) {
    Page* const loaded = FindPage(page);
    T* const control = loaded == nullptr ? nullptr : loaded->findChild<T*>(name);
    if (control == nullptr) {
        throw std::runtime_error(std::string(page) + " has no " + name);
    }
    return *control;
}

inline void Press(std::string_view page, const char* button) {
    Control<QAbstractButton>(page, button).click();
}

inline void Type(std::string_view page, const char* edit, std::string_view text) {
    Control<QLineEdit>(page, edit).setText(ToQt(text));
}

inline std::string LabelText(std::string_view page, const char* label) {
    return FromQt(Control<QLabel>(page, label).text());
}

// The window's close box. False: the page stays.
inline bool CloseBox(std::string_view page) {
    QWidget* const loaded = FindPage(page);
    QWidget* const window = qobject_cast<QMdiSubWindow*>(loaded->parentWidget());
    (window != nullptr ? window : loaded)->close();
    return FindPage(page) == nullptr;
}

// Names of the visible pages, in the order of their loading.
inline std::string VisiblePages() {
    std::string names;
    for (const auto& name : LoadedPages()) {
        if (PageIsVisible(name)) {
            names += (names.empty() ? "" : " ") + name;
        }
    }
    return names;
}

// Unloads what a test has left and runs the deletions that wait.
inline void ClearPages() {
    UnloadAllPages();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    CloseMainWindow();
}

}  // namespace vantry
