// The page's own layout moves as a whole into a widget that scrolls; only its last rows, the
// buttons and the line above them, come back out of it.
// Easy to get wrong: controls that change their parent are hidden and lose the focus, so a page
// that is seen gets both again; and they lose their place in the tab order if they leave its window
// on their way. And the wheel, which now scrolls, must not change a choice on its way:
// a list or a number takes it only where it has the focus.
#include "shell/page_body.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QBoxLayout>
#include <QComboBox>
#include <QEvent>
#include <QFrame>
#include <QListWidget>
#include <QPointer>
#include <QScrollArea>
#include <QScrollBar>

#include <algorithm>
#include <vector>

namespace vantry {
namespace {

constexpr int kNarrowList = 120;

class PageBody : public QScrollArea {
public:
    explicit PageBody(QWidget& page) : QScrollArea(&page) {
        setFrameShape(QFrame::NoFrame);
        setFocusPolicy(Qt::NoFocus);  // its controls have it
        setWidgetResizable(true);
    }

    // Puts the layout into a widget that scrolls.
    void Take(QLayout& rows) {
        auto* const content = new QWidget(viewport());
        content->setLayout(&rows);
        setWidget(content);
        // Both would paint over what the page has behind it.
        content->setAutoFillBackground(false);
        viewport()->setAutoFillBackground(false);
        for (auto* const control : content->findChildren<QWidget*>()) {
            if (qobject_cast<QComboBox*>(control) != nullptr ||
                qobject_cast<QAbstractSpinBox*>(control) != nullptr) {
                control->installEventFilter(this);
            }
            // The room of a bar for the height comes out of a list, not out of a bar for the width.
            if (qobject_cast<QListWidget*>(control) != nullptr) {
                control->setMinimumWidth(std::min(control->minimumWidth(), kNarrowList));
            }
        }
    }

    // As if it weren't there: the toolkit's own has an upper limit.
    QSize sizeHint() const override { return widget()->sizeHint(); }

    bool eventFilter(QObject* watched, QEvent* event) override {
        const auto* const control = qobject_cast<QWidget*>(watched);
        if (event->type() == QEvent::Wheel && control != nullptr && control != widget() &&
            !control->hasFocus()) {
            event->ignore();  // and so it goes on to the body
            return true;
        }
        return QScrollArea::eventFilter(watched, event);
    }
};

// The row of buttons, and the line above it; from the last upwards.
std::vector<QLayoutItem*> TakeButtonRows(QBoxLayout& rows) {
    std::vector<QLayoutItem*> taken{rows.takeAt(rows.count() - 1)};
    const auto* const above = rows.itemAt(rows.count() - 1);
    const auto* const line = qobject_cast<const QFrame*>(above->widget());
    if (line != nullptr && line->frameShape() == QFrame::HLine) {
        taken.push_back(rows.takeAt(rows.count() - 1));
    }
    return taken;
}

// How far a scroll bar has to go until a control from `first` to `last` is seen; its start counts
// more than its end.
int Distance(int first, int last, int length) {
    const int down = std::max(0, last - length);
    return std::min(first, down);
}

}  // namespace

void LetBodyScroll(QWidget& page) {
    auto* const rows = qobject_cast<QBoxLayout*>(page.layout());
    if (rows == nullptr || rows->count() < 2 ||
        rows->itemAt(rows->count() - 1)->layout() == nullptr ||
        page.findChild<PageBody*>() != nullptr) {
        return;
    }
    const QPointer<QWidget> focus = QApplication::focusWidget();
    const QMargins margins = rows->contentsMargins();
    auto taken = TakeButtonRows(*rows);
    auto* const body = new PageBody(page);
    body->Take(*rows);
    rows->setContentsMargins(margins.left(), margins.top(), margins.right(), rows->spacing());
    auto* const outer = new QVBoxLayout(&page);
    outer->setContentsMargins({});
    outer->setSpacing(0);
    outer->addWidget(body, 1);
    auto* const bottom = new QVBoxLayout;
    bottom->setContentsMargins(margins.left(), 0, margins.right(), margins.bottom());
    bottom->setSpacing(rows->spacing());
    outer->addLayout(bottom);
    for (auto item = taken.rbegin(); item != taken.rend(); ++item) {
        if (QLayout* const buttons = (*item)->layout()) {
            bottom->addLayout(buttons);
        } else {
            bottom->addWidget((*item)->widget());
            delete *item;
        }
    }
    if (page.isVisible()) {
        body->show();
    }
    if (focus != nullptr && page.isAncestorOf(focus)) {
        focus->setFocus();
    }
}

void ScrollBodyTo(const QWidget& control) {
    constexpr int kAround = 40;  // its label, and a little of what comes next
    for (QWidget* above = control.parentWidget(); above != nullptr; above = above->parentWidget()) {
        if (const auto* const body = dynamic_cast<const PageBody*>(above)) {
            ScrollTo(*body, control, kAround);
        }
    }
}

// By the whole control: the toolkit's own way is content when the cursor of a field is seen.
void ScrollTo(const QAbstractScrollArea& area, const QWidget& control, int around) {
    const auto* const seen = area.viewport();
    const QRect place(control.mapTo(seen, QPoint()), control.size());
    auto* const across = area.horizontalScrollBar();
    auto* const down = area.verticalScrollBar();
    across->setValue(across->value() + Distance(place.left(), place.right() + 1, seen->width()));
    down->setValue(down->value() +
                   Distance(place.top() - around, place.bottom() + 1 + around, seen->height()));
}

}  // namespace vantry
