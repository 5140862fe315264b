#include "mapping/pages/button_column.h"

#include <QApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QStyleOptionButton>
#include <QTableWidget>

namespace vantry {

// Mouse and keys are watched on the grid itself: a delegate hears only of cells in editing.
ButtonColumn::ButtonColumn(QTableWidget* grid, int column, const QString& caption)
    : QStyledItemDelegate(grid), grid_(grid), column_(column), caption_(caption) {
    grid->setItemDelegateForColumn(column, this);
    grid->installEventFilter(this);
    grid->viewport()->installEventFilter(this);
    connect(grid, &QTableWidget::cellClicked, this, [this](int row, int clicked) {
        if (clicked == column_) {
            Q_EMIT Clicked(row);
        }
    });
}

// What a button of the platform's style needs around its caption.
int ButtonColumn::LeastWidth() const {
    QStyleOptionButton button;
    button.initFrom(grid_);
    button.text = caption_;
    const QSize text = grid_->fontMetrics().size(Qt::TextShowMnemonic, caption_);
    const QStyle* const style = grid_->style();
    return text.width() + 2 * style->pixelMetric(QStyle::PM_ButtonMargin, &button, grid_) + 8;
}

void ButtonColumn::paint(QPainter* painter,
                         const QStyleOptionViewItem& option,
                         const QModelIndex& index) const {
    QStyleOptionButton button;
    button.initFrom(grid_);
    button.rect = option.rect.adjusted(1, 1, -1, -1);
    button.text = caption_;
    // The grid's own states would show on every button.
    button.state &= ~(QStyle::State_HasFocus | QStyle::State_MouseOver | QStyle::State_Sunken);
    const bool pressed = index.row() == pressed_row_;
    button.state |= pressed ? QStyle::State_Sunken : QStyle::State_Raised;
    if (grid_->hasFocus() && index == grid_->currentIndex()) {
        button.state |= QStyle::State_HasFocus | QStyle::State_KeyboardFocusChange;
    }
    grid_->style()->drawControl(QStyle::CE_PushButton, &button, painter, grid_);
}

bool ButtonColumn::eventFilter(QObject* watched, QEvent* event) {
    if (watched == grid_) {
        return Key(event);
    }
    if (event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseButtonDblClick) {
        const auto* const mouse = static_cast<QMouseEvent*>(event);
        const auto cell = grid_->indexAt(mouse->position().toPoint());
        if (mouse->button() == Qt::LeftButton && cell.column() == column_) {
            Press(cell.row());
        }
        // Let go anywhere: cellClicked says whether it was over the button.
    } else if (event->type() == QEvent::MouseButtonRelease || event->type() == QEvent::Hide) {
        Press(-1);
    }
    return false;  // the base class would take the grid for an editor of its own
}

bool ButtonColumn::Key(QEvent* event) {
    const bool pressing = event->type() == QEvent::KeyPress;
    if ((!pressing && event->type() != QEvent::KeyRelease) || grid_->currentColumn() != column_) {
        return false;
    }
    const auto* const key = static_cast<QKeyEvent*>(event);
    const int row = grid_->currentRow();
    if (key->key() == Qt::Key_Space) {
        // As a real button: pressed by the key going down, clicked by its coming up.
        if (!key->isAutoRepeat()) {
            const bool click = !pressing && pressed_row_ == row;
            Press(pressing ? row : -1);
            if (click) {
                Q_EMIT Clicked(row);
            }
        }
        return true;
    }
    if (pressing && (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter)) {
        Q_EMIT Clicked(row);
        return true;
    }
    return false;
}

void ButtonColumn::Press(int row) {
    if (row != pressed_row_) {
        pressed_row_ = row;
        // All of it: the former row's button comes up again, too.
        grid_->viewport()->update();
    }
}

}  // namespace vantry
