// What all pages share: Enter for the default button, Escape for Cancel, the line about their side
// of the session, the close box. Easy to get wrong: a page that is closed by its box and one that
// is unloaded by code come through the same event, and only the first is asked about; and what a
// page was connected with may have been typed over since, which the status line says rather than
// the page.

#include "shell/page.h"

#include "core/route.h"
#include "core/session_state.h"
#include "shell/main_window.h"
#include "shell/page_set.h"
#include "shell/plate_button.h"
#include "shell/qt_text.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>

#include <algorithm>

namespace vantry {

Page::Page(const char* name, Place place) : place_(place) {
    setObjectName(QString::fromLatin1(name));
}

void Page::OnActivate() {
    CenterPage(*this);
}

void Page::keyPressEvent(QKeyEvent* event) {
    // A page is no dialog, where the toolkit would do this.
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (enter && (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier) {
        if (QAbstractButton* const button = ConnectButtonForEnter()) {
            button->click();
            return;
        }
        for (auto* const button : findChildren<QPushButton*>()) {
            if (button->isDefault() && button->isEnabled() && button->isVisible()) {
                button->click();
                return;
            }
        }
    }
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        for (auto* const button : findChildren<PlateButton*>()) {
            // By its caption: pages name their Cancel buttons in several ways.
            if (button->Caption() == "Cancel" && button->isEnabled() && button->isVisible()) {
                button->click();
                return;
            }
        }
    }
    QWidget::keyPressEvent(event);
}

QAbstractButton* Page::ConnectButtonForEnter() const {
    const bool typed =
        std::find(typed_into_.begin(), typed_into_.end(), focusWidget()) != typed_into_.end();
    if (typed && (!connected_ || !StaleField().Empty())) {
        for (auto* const button : connect_buttons_) {
            if (button->isEnabled() && button->isVisible()) {
                return button;
            }
        }
    }
    return nullptr;
}

void Page::SetEscapeButton(QAbstractButton* button) {
    auto* const escape = new QShortcut(Qt::Key_Escape, this);
    connect(escape, &QShortcut::activated, button, &QAbstractButton::click);
}

std::string Page::SideInWords() const {
    return connected_ ? connected_place_ : std::string();
}

void Page::SetNotice(Notice notice) {
    notice_ = std::move(notice);
    RefreshStatus();
}

void Page::SetNotice(std::string text, NoticeKind kind) {
    Notice notice{{}, kind};
    if (!text.empty()) {
        notice.parts.push_back({std::move(text)});
    }
    SetNotice(std::move(notice));
}

Notice Page::CurrentNotice() const {
    if (Notice unusable = UnusablePath(); !unusable.Empty()) {
        return unusable;
    }
    Notice stale = StaleField();
    // What isn't true any more goes before what was noted earlier.
    return stale.Empty() ? notice_ : stale;
}

Notice Page::StaleField() const {
    if (connected_) {
        for (const auto& field : watched_) {
            if (field.text() != field.connected) {
                // By the field that names the place, whichever of them has changed.
                const auto& first = watched_.front();
                return {{{StaleFieldInWords(
                            connected_place_, FromQt(first.connected), FromQt(first.text()))}},
                        NoticeKind::Warning};
            }
        }
    }
    return {};
}

Notice Page::UnusablePath() const {
    for (const auto* const path : paths_) {
        if (std::string why = path->Objection(); !why.empty()) {
            return {{{std::move(why)}}, NoticeKind::Warning};
        }
    }
    return {};
}

PathEntry& Page::TakesPath(QLineEdit& field, const char* kind, PathUse use) {
    paths_.push_back(new PathEntry(field, kind, use));
    connect(&field, &QLineEdit::textChanged, this, [] { RefreshStatus(); });
    return *paths_.back();
}

void Page::RememberPaths() {
    for (auto* const path : paths_) {
        path->Remember();
    }
}

void Page::Watch(std::function<QString()> text) {
    watched_.push_back({std::move(text), {}});
}

void Page::WatchField(QLineEdit& field) {
    typed_into_.push_back(&field);
    Watch([&field] { return field.text(); });
    connect(&field, &QLineEdit::textChanged, this, [] { RefreshStatus(); });
}

void Page::WatchField(QComboBox& field) {
    Watch([&field] { return field.currentText(); });
    connect(&field, &QComboBox::currentTextChanged, this, [] { RefreshStatus(); });
}

void Page::WatchField(QAbstractButton& field) {
    Watch([&field] { return field.isChecked() ? QString("on") : QString(); });
    connect(&field, &QAbstractButton::toggled, this, [] { RefreshStatus(); });
}

void Page::Connected() {
    const bool target = SideOfPage(FromQt(objectName())) == Side::Target;
    connected_ = true;
    // Taken from the string and kept: what the fields or the variables hold later is another thing.
    connected_place_ = PlaceInWords(target ? TargetConnStr : SourceConnStr);
    for (auto& field : watched_) {
        field.connected = field.text();
    }
    RememberPaths();
    // Told here, not only by the log of a run that was prepared in vain.
    SetNotice(target ? ReadOnlyTargetInWords() : std::string(), NoticeKind::Warning);
}

void Page::NotConnected() {
    for (auto* const path : connected_ ? paths_ : std::vector<PathEntry*>()) {
        path->Forget();
    }
    connected_ = false;
    SetNotice(Notice());
}

void Page::closeEvent(QCloseEvent* event) {
    const std::string name = objectName().toStdString();
    // UnloadPage closes the window as well: then there is nothing to ask.
    if (FindPage(name) != this) {
        event->accept();  // unloaded already
        return;
    }
    if (!QueryUnload()) {
        event->ignore();
        return;
    }
    // Usually the question has unloaded it already (AskToClose): this call then does nothing.
    UnloadPage(name);
    event->accept();
}

}  // namespace vantry
