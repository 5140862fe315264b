#pragma once
// Drives loaded pages by the names of their controls.

#include "shell/main_window.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "support/scripted_dialogs.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QCoreApplication>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QMdiSubWindow>
#include <QMouseEvent>
#include <QRadioButton>
#include <QTextDocument>

#include <map>

namespace vantry {

// Pages around the one under test, by name only.
inline void RegisterNamedPages(std::initializer_list<const char*> names) {
    struct NamedPage : Page {
        explicit NamedPage(const char* name) : Page(name) {}
    };
    for (const char* name : names) {
        RegisterPage(name, [name] { return std::make_unique<NamedPage>(name); });
    }
}

// What a tool tip shows of its text.
inline std::string ShownByTip(const QString& tip) {
    QTextDocument document;
    if (Qt::mightBeRichText(tip)) {
        document.setHtml(tip);
    } else {
        document.setPlainText(tip);
    }
    return FromQt(document.toPlainText());
}

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

// What the boxes have said then, in scripted dialogs.
inline std::string Pressed(std::string_view page, const char* button) {
    Press(page, button);
    return dynamic_cast<ScriptedDialogs&>(CurrentDialogs()).TakeBoxes();
}

// The user's choice of an entry.
inline void Pick(QComboBox* list, const char* entry) {
    const int index = list->findText(entry, Qt::MatchExactly | Qt::MatchCaseSensitive);
    if (index < 0) {
        throw std::runtime_error(std::string(entry) + " isn't listed");
    }
    list->setCurrentIndex(index);
    Q_EMIT list->activated(index);
}
inline void Pick(std::string_view page, const char* list, const char* entry) {
    Pick(&Control<QComboBox>(page, list), entry);
}

inline void Type(std::string_view page, const char* edit, std::string_view text) {
    Control<QLineEdit>(page, edit).setText(ToQt(text));
}

// Event by event, as the window system sends them.
inline void SendMouse(QWidget* widget, QEvent::Type type, QPoint at) {
    const bool down = type != QEvent::MouseButtonRelease;
    QMouseEvent event(type,
                      at,
                      widget->mapToGlobal(at),
                      type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                      down ? Qt::LeftButton : Qt::NoButton,
                      Qt::NoModifier);
    QCoreApplication::sendEvent(widget, &event);
}
// True: the widget took it.
inline bool SendKey(QWidget& widget,
                    int key,
                    const QString& text = {},
                    Qt::KeyboardModifiers modifiers = {}) {
    QKeyEvent press(QEvent::KeyPress, key, modifiers, text);
    QCoreApplication::sendEvent(&widget, &press);
    return press.isAccepted();
}

// As the keyboard does it: what the page changes by itself isn't typed.
inline void TypeByKeys(std::string_view page, const char* edit, std::string_view text) {
    auto& field = Control<QLineEdit>(page, edit);
    field.clear();
    SendKey(field, 0, ToQt(text));
}

inline void PressEnter(std::string_view page, const char* control) {
    SendKey(Control<QWidget>(page, control), Qt::Key_Return, "\r");
}

// As the focus leaves it; the page may wait with its answer until the events are processed.
inline void LeaveField(std::string_view page,
                       const char* control,
                       Qt::FocusReason reason = Qt::TabFocusReason) {
    QFocusEvent leave(QEvent::FocusOut, reason);
    QCoreApplication::sendEvent(&Control<QWidget>(page, control), &leave);
}

// The letters that more than one control of a page answers to: none of them does it at once.
inline std::string RepeatedLetters(std::string_view page) {
    std::map<std::string, int> letters;
    const auto count = [&](const QString& text) {
        ++letters[FromQt(QKeySequence::mnemonic(text).toString())];
    };
    for (const auto* const button : FindPage(page)->findChildren<QAbstractButton*>()) {
        count(button->text());
    }
    for (const auto* const label : FindPage(page)->findChildren<QLabel*>()) {
        if (label->buddy() != nullptr) {
            count(label->text());
        }
    }
    std::string repeated;
    for (const auto& [letter, times] : letters) {
        repeated += !letter.empty() && times > 1 ? letter + " " : "";
    }
    return repeated;
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
