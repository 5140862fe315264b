#include "shell/page.h"

#include "shell/main_window.h"
#include "shell/page_set.h"

#include <QCloseEvent>
#include <QKeyEvent>
#include <QPushButton>
#include <QShortcut>

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
        for (auto* const button : findChildren<QPushButton*>()) {
            if (button->isDefault() && button->isEnabled() && button->isVisible()) {
                button->click();
                return;
            }
        }
    }
    QWidget::keyPressEvent(event);
}

void Page::SetEscapeButton(QAbstractButton* button) {
    auto* const escape = new QShortcut(Qt::Key_Escape, this);
    connect(escape, &QShortcut::activated, button, &QAbstractButton::click);
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
    UnloadPage(name);
    event->accept();
}

}  // namespace vantry
