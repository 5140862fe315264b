#include "shell/plate_button.h"

#include "shell/contrast.h"

#include <QFocusEvent>
#include <QPen>
#include <QStyleOptionButton>
#include <QStylePainter>

namespace vantry {

PlateButton::PlateButton(QWidget* parent) : QPushButton(parent) {
    setAutoDefault(true);
    // A signal without argument: handlers of pages are ordinary methods, and take no "checked".
    connect(this, &QPushButton::clicked, this, [this] { Q_EMIT Click(); });
}

QString PlateButton::Caption() const {
    QString caption;
    // "&&" is a "&" that is shown; any other "&" marks the letter behind it and isn't.
    const QString marked = text();
    for (qsizetype i = 0; i < marked.size(); ++i) {
        if (marked[i] == '&' && i + 1 < marked.size()) {
            ++i;
        }
        caption += marked[i];
    }
    return caption;
}

void PlateButton::SetCaption(const QString& caption) {
    // The same caption without its mark would take the underlined letter away.
    if (caption != Caption()) {
        setText(caption);
    }
}

QColor PlateButton::BackColor() const {
    return palette().color(QPalette::Button);
}

void PlateButton::SetBackColor(const QColor& color) {
    QPalette own = palette();
    own.setColor(QPalette::Button, color);
    setPalette(own);
}

QColor PlateButton::ForeColor() const {
    return palette().color(QPalette::ButtonText);
}

void PlateButton::SetForeColor(const QColor& color) {
    QPalette own = palette();
    own.setColor(QPalette::ButtonText, color);
    setPalette(own);
}

int PlateButton::MousePointer() const {
    return testAttribute(Qt::WA_SetCursor) ? static_cast<int>(cursor().shape()) : -1;
}

void PlateButton::SetMousePointer(int shape) {
    if (shape < 0 || shape > Qt::LastCursor) {
        unsetCursor();
    } else {
        setCursor(static_cast<Qt::CursorShape>(shape));
    }
}

// Styles tint the default button and the focused one alike, and on a dark desktop hardly at all. So
// what Enter presses has a frame, and what has the focus a dashed one within.
void PlateButton::paintEvent(QPaintEvent*) {
    QStyleOptionButton option;
    initStyleOption(&option);
    const bool enter_presses = isDefault() && isEnabled();
    const bool focused = hasFocus();
    option.features &= ~QStyleOptionButton::DefaultButton;
    option.state &= ~QStyle::State_HasFocus;
    QStylePainter painter(this);
    painter.drawControl(QStyle::CE_PushButton, option);
    painter.setRenderHint(QPainter::Antialiasing);
    constexpr double kMarkContrast = 3;
    if (enter_presses) {
        const QColor behind = option.palette.color(QPalette::Window);
        painter.setPen(
            QPen(ToldFrom(option.palette.color(QPalette::Highlight), behind, kMarkContrast), 2));
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 2, 2);
    }
    if (focused) {
        QPen dashes(option.palette.color(QPalette::ButtonText), 1);
        dashes.setDashPattern({2, 2});
        painter.setPen(dashes);
        painter.drawRect(QRectF(rect()).adjusted(3.5, 3.5, -3.5, -3.5));
    }
}

// Outside of a dialog the toolkit makes a button the default one when it gets the focus, and takes
// that back when it loses it. A page's own default button would be none after the first walk past
// it by Tab; so what it was before is kept, and given back.
void PlateButton::focusInEvent(QFocusEvent* event) {
    if (event->reason() != Qt::PopupFocusReason) {
        default_without_focus_ = isDefault();
    }
    QPushButton::focusInEvent(event);
}

void PlateButton::focusOutEvent(QFocusEvent* event) {
    QPushButton::focusOutEvent(event);
    if (default_without_focus_) {
        setDefault(true);
    }
}

}  // namespace vantry
