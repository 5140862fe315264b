// The names stay rows of the list; those that the filter leaves out are hidden, and keep whether
// they are chosen. The list itself changes by many small steps (each name that is added), so what
// depends on all of them is done once control is back in the event loop.
// Easy to get wrong: the row of the filter must not make a page higher than a small screen; the
// list gives its own least height up for it.
#include "shell/name_list.h"

#include "shell/contrast.h"

#include <QBoxLayout>
#include <QEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QTimer>
#include <QVariant>

#include <algorithm>
#include <utility>

namespace vantry {
namespace {

constexpr const char* kNoneFound = "noneFound";

// The box of layouts that holds a widget.
QBoxLayout* BoxOf(QLayout* layout, QWidget& widget) {
    for (int i = 0; layout != nullptr && i < layout->count(); ++i) {
        QLayoutItem* const item = layout->itemAt(i);
        if (item->widget() == &widget) {
            return qobject_cast<QBoxLayout*>(layout);
        }
        if (QBoxLayout* const found = BoxOf(item->layout(), widget)) {
            return found;
        }
    }
    return nullptr;
}

bool HasTick(const QListWidgetItem& item) {
    return item.data(Qt::CheckStateRole).isValid();
}

bool IsChosen(const QListWidgetItem& item) {
    return HasTick(item) ? item.checkState() == Qt::Checked : item.isSelected();
}

}  // namespace

void SayNoneFound(QListWidget& list, const QString& why) {
    list.setProperty(kNoneFound, why);
}

void ChooseAllInView(QListWidget& list) {
    for (int row = 0; row < list.count(); ++row) {
        QListWidgetItem& item = *list.item(row);
        // Not what the filter hides.
        if (list.isRowHidden(row)) {
            continue;
        }
        if (HasTick(item)) {
            item.setCheckState(Qt::Checked);
        } else if (list.selectionMode() != QAbstractItemView::SingleSelection) {
            item.setSelected(true);
        }
    }
}

NameList::NameList(QListWidget& list, QWidget& page)
    : QObject(&list),
      list_(list),
      row_(new QWidget(&page)),
      filter_(new QLineEdit),
      count_(new QLabel),
      reason_(new QLabel(list.viewport())),
      own_height_(list.minimumHeight()) {
    filter_->setObjectName(list.objectName() + "Filter");
    filter_->setPlaceholderText("Filter");
    filter_->setAccessibleName("Filter of " + list.accessibleName());
    filter_->setToolTip("Shows the names that hold this text. Those that are chosen stay so.");
    filter_->setClearButtonEnabled(true);
    ShowHintReadably();
    count_->setObjectName(list.objectName() + "Count");
    reason_->setObjectName(list.objectName() + "Reason");
    reason_->setWordWrap(true);
    reason_->setAlignment(Qt::AlignCenter);
    reason_->setMargin(12);
    reason_->setTextFormat(Qt::PlainText);
    reason_->setForegroundRole(QPalette::Text);
    reason_->setAttribute(Qt::WA_TransparentForMouseEvents);
    PlaceRow(page);
    if (list.toolTip().isEmpty() && list.selectionMode() == QAbstractItemView::ExtendedSelection) {
        list.setToolTip(
            "Ctrl+A chooses all names in view, a click with Ctrl one more, with Shift all up to "
            "there. The right mouse button has a menu.");
    }
    list.installEventFilter(this);
    list.viewport()->installEventFilter(this);
    filter_->installEventFilter(this);
    connect(filter_, &QLineEdit::textChanged, this, &NameList::Refresh);
    const auto* const names = list.model();
    const auto changed = [this] {
        // A reason holds for one listing: with the next change the list says again what it says by
        // itself.
        list_.setProperty(kNoneFound, {});
        RefreshSoon();
    };
    connect(names, &QAbstractItemModel::rowsInserted, this, changed);
    connect(names, &QAbstractItemModel::rowsRemoved, this, changed);
    connect(names, &QAbstractItemModel::modelReset, this, changed);
    connect(names, &QAbstractItemModel::dataChanged, this, &NameList::RefreshSoon);
    connect(&list, &QListWidget::itemSelectionChanged, this, &NameList::ShowCount);
    Refresh();
}

void NameList::ShowHintReadably() {
    filter_->setPalette(WithReadableHints(list_.palette()));
}

void NameList::PlaceRow(QWidget& page) {
    auto* const parts = new QHBoxLayout(row_);
    parts->setContentsMargins(0, 0, 0, 0);
    parts->addWidget(filter_, 1);
    parts->addWidget(count_);
    row_->hide();
    if (QBoxLayout* const box = BoxOf(page.layout(), list_)) {
        box->insertWidget(box->indexOf(&list_), row_);
        // Before the list, as it stands there; the row is made last and would be reached behind all
        // buttons.
        QWidget::setTabOrder(list_.previousInFocusChain(), filter_);
        QWidget::setTabOrder(filter_, &list_);
    }
}

bool NameList::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress) {
        const auto& key = static_cast<const QKeyEvent&>(*event);
        if (watched == filter_) {
            return FilterKey(key.key());
        }
        if (watched == &list_ && key.matches(QKeySequence::SelectAll)) {
            ChooseAllInView(list_);
            return true;
        }
    } else if (watched == list_.viewport() && event->type() == QEvent::Resize) {
        reason_->resize(list_.viewport()->size());
    } else if (watched == &list_ && event->type() == QEvent::DynamicPropertyChange) {
        RefreshSoon();
    } else if (watched == &list_ && event->type() == QEvent::PaletteChange) {
        ShowHintReadably();
    }
    return QObject::eventFilter(watched, event);
}

bool NameList::FilterKey(int key) {
    switch (key) {
        case Qt::Key_Escape:
            // Nothing to clear: the key is the page's.
            if (filter_->text().isEmpty()) {
                return false;
            }
            filter_->clear();
            return true;
        case Qt::Key_Down:
        case Qt::Key_Return:
        case Qt::Key_Enter:
            list_.setFocus();
            return true;
        default:
            return false;
    }
}

void NameList::RefreshSoon() {
    if (!std::exchange(waiting_, true)) {
        QTimer::singleShot(0, this, [this] {
            waiting_ = false;
            Refresh();
        });
    }
}

void NameList::Refresh() {
    const bool many = list_.count() > kNamesWithoutFilter;
    if (!many && !filter_->text().isEmpty()) {
        filter_->clear();  // comes here again
        return;
    }
    const QString wanted = filter_->text().trimmed();
    int in_view = 0;
    for (int row = 0; row < list_.count(); ++row) {
        const bool shown = list_.item(row)->text().contains(wanted, Qt::CaseInsensitive);
        // Only what changes: each call makes the list lay itself out again, and there may be
        // thousands.
        if (list_.isRowHidden(row) == shown) {
            list_.setRowHidden(row, !shown);
        }
        in_view += shown ? 1 : 0;
    }
    row_->setVisible(many);
    list_.setMinimumHeight(many ? std::max(0, own_height_ - row_->sizeHint().height())
                                : own_height_);
    const QString none = list_.property(kNoneFound).toString();
    QString reason;
    if (list_.count() == 0) {
        reason = none.isEmpty() ? list_.property("whenEmpty").toString() : none;
    } else if (in_view == 0) {
        reason = "No name holds \"" + wanted + "\".";
    }
    reason_->setText(reason);
    reason_->resize(list_.viewport()->size());
    reason_->setVisible(!reason.isEmpty());
    list_.setAccessibleDescription(reason);
    ShowCount();
}

void NameList::ShowCount() {
    int chosen = 0;
    for (int row = 0; row < list_.count(); ++row) {
        chosen += IsChosen(*list_.item(row)) ? 1 : 0;
    }
    count_->setText(QString("%1 of %2 selected").arg(chosen).arg(list_.count()));
}

}  // namespace vantry
