#include "text/pages/path_field.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QTimer>

namespace vantry {
namespace {

constexpr int kWaitForMouseMs = 20;

}  // namespace

bool IsEnterKey(const QEvent& event) {
    if (event.type() != QEvent::KeyPress) {
        return false;
    }
    const int key = static_cast<const QKeyEvent&>(event).key();
    return key == Qt::Key_Return || key == Qt::Key_Enter;
}

PathField::PathField(QLineEdit& field, std::function<bool()> take)
    : QObject(&field), field_(field), take_(std::move(take)) {
    field.installEventFilter(this);
    // Not textChanged: a text that the page itself puts in is taken over by the page.
    connect(&field, &QLineEdit::textEdited, this, [this] { typed_ = true; });
    connect(&field, &QLineEdit::editingFinished, this, &PathField::TakeLeftSoon);
}

void PathField::Take() {
    typed_ = false;
    const QString text = field_.text();
    taken_.clear();
    // What couldn't be read may be there by the next try.
    if (take_()) {
        taken_ = text;
    }
}

void PathField::TakeTyped() {
    if (typed_ && !field_.text().isEmpty()) {
        Take();
    }
}

bool PathField::eventFilter(QObject* watched, QEvent* event) {
    // Of a path that is taken already the key is the page's: to take it again would forget what was
    // chosen in it.
    if (IsEnterKey(*event) && (taken_.isEmpty() || taken_ != field_.text())) {
        Take();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

// Not while a mouse button is down or a box is open: a box would take the click that left the
// field, and bar the way to Cancel.
void PathField::TakeLeftSoon() {
    if (!typed_) {
        return;
    }
    QTimer::singleShot(0, this, [this] {
        if (QApplication::mouseButtons() != Qt::NoButton ||
            QApplication::activeModalWidget() != nullptr) {
            QTimer::singleShot(kWaitForMouseMs, this, [this] { TakeLeftSoon(); });
        } else if (field_.isVisible()) {
            TakeTyped();
        }
    });
}

}  // namespace vantry
