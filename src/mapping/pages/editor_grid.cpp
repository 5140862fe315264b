// The toolkit's own editing takes a value over whenever an editor closes; here Enter, leaving and
// scrolling take over different things, so editors are plain widgets that the grid lays over a
// cell. Easy to get wrong: a cell is left before the next one is entered, also when leaving it
// opens a box that moves the focus; the grid's own scrolling must not look like the user's; and an
// editor that is hidden by scrolling still belongs to its cell.

#include "mapping/pages/editor_grid.h"

#include "shell/tool_tip.h"

#include <QApplication>
#include <QComboBox>
#include <QHeaderView>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QScrollBar>
#include <QStyle>
#include <QStyledItemDelegate>
#include <QToolTip>

#include <algorithm>
#include <utility>

namespace vantry {
namespace {

constexpr double kPixelsPerTwip = 1.0 / 15;
// Given widths are for a font of this height in pixels; with a larger font they grow.
constexpr double kGivenFontHeight = 16;
constexpr int kTextMargins = 8;  // pixels between a cell's edges and its text, both sides

class Counted {
public:
    explicit Counted(int& count) : count_(count) { ++count_; }
    ~Counted() { --count_; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

private:
    int& count_;
};

// Grid colours are part of the page's meaning (a skipped column is red), so they can't be the
// desktop's. Paints the given colours as they are on a light desktop; on a dark one the same hues,
// so that the text can be read.
class CellPainter : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    // A text that is cut off is shown whole while the mouse rests on it.
    bool helpEvent(QHelpEvent* event,
                   QAbstractItemView* view,
                   const QStyleOptionViewItem& option,
                   const QModelIndex& index) override {
        // A marked cell says why first.
        const QString mark = index.data(Qt::ToolTipRole).toString();
        if (event->type() == QEvent::ToolTip && !mark.isEmpty()) {
            QToolTip::showText(event->globalPos(), mark, view);
            return true;
        }
        const QString text = index.data().toString();
        if (event->type() != QEvent::ToolTip ||
            option.fontMetrics.horizontalAdvance(text) + kTextMargins <= option.rect.width()) {
            return QStyledItemDelegate::helpEvent(event, view, option, index);
        }
        QToolTip::showText(event->globalPos(), ToolTipOf(text), view);
        return true;
    }

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
        QStyledItemDelegate::initStyleOption(option, index);
        if (option->palette.color(QPalette::Base).lightness() >= 128) {
            return;
        }
        if (option->backgroundBrush.style() != Qt::NoBrush) {
            const QColor given = option->backgroundBrush.color();
            option->backgroundBrush = QColor::fromHsl(given.hslHue(), 60, 52);
        }
        if (index.data(Qt::ForegroundRole).isValid()) {
            const QColor given = option->palette.color(QPalette::Text);
            option->palette.setColor(QPalette::Text,
                                     QColor::fromHsl(given.hslHue(), given.hslSaturation(), 175));
        }
    }
};

}  // namespace

EditorGrid::EditorGrid(QWidget* parent) : QTableWidget(parent) {
    setItemDelegate(new CellPainter(this));
    setEditTriggers(NoEditTriggers);
    setSelectionMode(SingleSelection);
    setTabKeyNavigation(false);
    // The toolkit would scroll a cell into view before the one before it is left.
    setAutoScroll(false);
    setVerticalScrollMode(ScrollPerItem);
    setHorizontalScrollMode(ScrollPerPixel);
    setWordWrap(false);
    setTextElideMode(Qt::ElideMiddle);  // paths differ at their ends
    setCornerButtonEnabled(false);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    horizontalHeader()->setMinimumSectionSize(1);
    connect(this, &QTableWidget::currentCellChanged, this, &EditorGrid::ChangeCell);
    connect(horizontalHeader(), &QHeaderView::sectionResized, this, [this] {
        if (!spreading_) {
            // Headers are resized before the page shows, too: that isn't the user.
            dragged_ = dragged_ || isVisible();
            PlaceEditor();
        }
    });
    SetRowHeight();
}

void EditorGrid::SetColumns(std::span<const GridColumn> columns) {
    spreading_ = true;
    setColumnCount(static_cast<int>(columns.size()));
    QStringList headers;
    for (const auto& column : columns) {
        headers << QString::fromLatin1(column.header);
    }
    setHorizontalHeaderLabels(headers);
    // Columns grow with the font, for desktops at 200 %.
    const double scale = std::max(1.0, fontMetrics().height() / kGivenFontHeight);
    least_widths_.clear();
    shares_.clear();
    for (int k = 0; k < columnCount(); ++k) {
        const auto& column = columns[static_cast<std::size_t>(k)];
        const bool seen = column.twips * kPixelsPerTwip >= 1;
        setColumnHidden(k, !seen);
        const int given = static_cast<int>(column.twips * kPixelsPerTwip * scale);
        least_widths_.push_back(seen ? std::max(given, horizontalHeader()->sectionSizeHint(k)) : 0);
        shares_.push_back(seen ? column.share : 0);
    }
    spreading_ = false;
    SpreadColumns();
}

void EditorGrid::Rewind() {
    if (open_ != nullptr) {
        CloseEditor(open_);
    }
    // Hidden columns can't be the current one: keys would seem dead there.
    int column = 0;
    while (column + 1 < columnCount() && isColumnHidden(column)) {
        ++column;
    }
    entered_ = false;
    if (rowCount() > 0) {
        setCurrentCell(0, column);
    }
}

QString EditorGrid::Text(int row, int column) const {
    const auto* const cell = item(row, column);
    return cell == nullptr ? QString() : cell->text();
}

void EditorGrid::SetText(int row, int column, const QString& text) {
    if (auto* const cell = item(row, column)) {
        cell->setText(text);
    } else {
        setItem(row, column, new QTableWidgetItem(text));
    }
}

void EditorGrid::SetMark(int row, int column, const QString& why) {
    auto* const cell = item(row, column);
    if (cell == nullptr) {
        return;
    }
    cell->setData(
        Qt::DecorationRole,
        why.isEmpty() ? QVariant() : QVariant(style()->standardIcon(QStyle::SP_MessageBoxWarning)));
    cell->setToolTip(why.isEmpty() ? QString() : ToolTipOf(why));
    cell->setData(Qt::AccessibleDescriptionRole, why.isEmpty() ? QVariant() : QVariant(why));
}

void EditorGrid::AddEditor(QWidget* editor, EditorHeight height) {
    editor->setParent(viewport());
    editor->hide();
    // Tab comes to an editor through its cell alone.
    editor->setFocusPolicy(Qt::ClickFocus);
    if (const auto* const list = qobject_cast<QComboBox*>(editor); list && list->lineEdit()) {
        list->lineEdit()->setFocusPolicy(Qt::ClickFocus);
    }
    editor->installEventFilter(this);
    editors_.push_back({editor, height});
    SetRowHeight();
}

void EditorGrid::OpenEditor(QWidget* editor) {
    // One editor at a time: two open ones would both be taken over.
    if (open_ != nullptr && open_ != editor) {
        CloseEditor(open_);
    }
    {
        const Counted quiet(quiet_scrolls_);
        scrollTo(currentIndex());
    }
    open_ = editor;
    // Persistent: rows may be filled anew while the editor is open.
    place_ = currentIndex();
    PlaceEditor();
    // The editor alone doesn't say over which cell it lies.
    editor->setAccessibleDescription(QString("%1, row %2 of %3")
                                         .arg(horizontalHeaderItem(place_.column())->text())
                                         .arg(place_.row() + 1)
                                         .arg(rowCount()));
    editor->show();
    editor->raise();
    editor->setFocus();
}

void EditorGrid::CloseEditor(QWidget* editor) {
    if (open_ != editor) {
        return;
    }
    // First, so that the focus change below isn't taken for the editor's.
    open_ = nullptr;
    if (editor->hasFocus() || editor->isAncestorOf(QApplication::focusWidget())) {
        setFocus();
    }
    editor->hide();
}

void EditorGrid::SetTabCells(std::function<bool(int, int)> takes_editor) {
    takes_editor_ = std::move(takes_editor);
}

void EditorGrid::ChangeCell(int row, int column, int former_row, int former_column) {
    if (GridFilling) {
        return;
    }
    if (former_row >= 0 && std::exchange(entered_, false)) {
        Q_EMIT CellLeft(former_row, former_column);
    }
    if (row < 0 || row != currentRow() || column != currentColumn()) {
        return;  // leaving it led elsewhere
    }
    // A cell under the mouse is in view; scrolling it would make the release hit another one.
    if (QGuiApplication::mouseButtons() == Qt::NoButton) {
        const Counted quiet(quiet_scrolls_);
        scrollTo(currentIndex());
    }
    Enter(row, column);
}

void EditorGrid::Enter(int row, int column) {
    entered_ = true;
    Q_EMIT CellEntered(row, column);
}

void EditorGrid::EnterAgain() {
    if (!GridFilling && open_ == nullptr && currentRow() >= 0) {
        Enter(currentRow(), currentColumn());
    }
}

void EditorGrid::mousePressEvent(QMouseEvent* event) {
    const auto pressed = indexAt(event->position().toPoint());
    // The base class has no signal for a press on the current cell.
    const bool again = pressed.isValid() && pressed == currentIndex();
    QTableWidget::mousePressEvent(event);
    if (again) {
        EnterAgain();
    }
}

void EditorGrid::mouseMoveEvent(QMouseEvent* event) {
    // A drag would walk the current cell, and its editor, along under the mouse.
    if (event->buttons() == Qt::NoButton) {
        QTableWidget::mouseMoveEvent(event);
    }
}

void EditorGrid::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_F2:
        case Qt::Key_Return:
        case Qt::Key_Enter:
            EnterAgain();
            // Where nothing opens, Enter is for the page's default button. An editor may still lie
            // over another cell, which was left as it was.
            event->setAccepted((open_ != nullptr && place_ == currentIndex()) ||
                               event->key() == Qt::Key_F2);
            return;
        default:
            QTableWidget::keyPressEvent(event);
    }
}

bool EditorGrid::eventFilter(QObject* watched, QEvent* event) {
    if (watched == open_ && open_ != nullptr) {
        if (event->type() == QEvent::KeyPress) {
            return EditorKey(open_, static_cast<QKeyEvent*>(event));
        }
        // An editor that still lies over a cell which was left goes on with that cell.
        if (event->type() == QEvent::FocusIn && place_ != currentIndex()) {
            setCurrentIndex(place_);
        }
        if (event->type() == QEvent::Wheel) {
            // The wheel scrolls the grid; it would change the choice unnoticed.
            QApplication::sendEvent(verticalScrollBar(), event);
            return true;
        }
    }
    return QTableWidget::eventFilter(watched, event);
}

bool EditorGrid::EditorKey(QWidget* editor, QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            Q_EMIT EnterPressed(editor);
            return true;
        case Qt::Key_Escape:
            Q_EMIT Escaped(editor);
            return true;
        case Qt::Key_Tab:
            GoToTabCell(1);
            return true;
        case Qt::Key_Backtab:
            GoToTabCell(-1);
            return true;
        default:
            return WalkingKey(editor, event);
    }
}

// Up, Down and their like walk over the rows, as they do without an editor. A closed list would
// take them for a choice: a walk down a column would leave other columns in its cells. F4 and Alt
// with Down open the list, which has these keys for itself then.
bool EditorGrid::WalkingKey(const QWidget* editor, const QKeyEvent* event) {
    const auto* const list = qobject_cast<const QComboBox*>(editor);
    const bool alone = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    int rows = 0;
    switch (event->key()) {
        case Qt::Key_Up:
        case Qt::Key_Down:
            if (!alone) {
                return list != nullptr && (event->modifiers() & Qt::AltModifier) == 0;
            }
            rows = event->key() == Qt::Key_Up ? -1 : 1;
            break;
        case Qt::Key_PageUp:
        case Qt::Key_PageDown: {
            const int page = std::max(1, viewport()->height() / std::max(1, rowHeight(0)) - 1);
            rows = event->key() == Qt::Key_PageUp ? -page : page;
            break;
        }
        case Qt::Key_Home:
        case Qt::Key_End:
            // In a text they move the caret.
            return list != nullptr && !list->isEditable();
        default:
            return false;
    }
    setCurrentCell(std::clamp(currentRow() + rows, 0, rowCount() - 1), currentColumn());
    return true;
}

void EditorGrid::GoToTabCell(int step) {
    // Row by row, as one reads.
    const int columns = columnCount();
    const int cells = rowCount() * columns;
    for (int cell = currentRow() * columns + currentColumn() + step; cell >= 0 && cell < cells;
         cell += step) {
        if (takes_editor_ && takes_editor_(cell / columns, cell % columns)) {
            setCurrentCell(cell / columns, cell % columns);
            return;
        }
    }
    // No cell is left in this direction: on to the next control.
    setFocus(step > 0 ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    QKeyEvent key(QEvent::KeyPress,
                  step > 0 ? Qt::Key_Tab : Qt::Key_Backtab,
                  step > 0 ? Qt::NoModifier : Qt::ShiftModifier);
    QApplication::sendEvent(this, &key);
}

void EditorGrid::PlaceEditor() {
    if (open_ == nullptr) {
        return;
    }
    QRect cell = visualRect(place_);
    for (const auto& editor : editors_) {
        if (editor.widget == open_ && editor.height == EditorHeight::Own) {
            const int height = open_->sizeHint().height();
            cell = QRect(cell.x(), cell.center().y() - height / 2, cell.width(), height);
        }
    }
    open_->setGeometry(cell);
}

void EditorGrid::resizeEvent(QResizeEvent* event) {
    const Counted quiet(quiet_scrolls_);
    QTableWidget::resizeEvent(event);
    SpreadColumns();
    PlaceEditor();
}

void EditorGrid::scrollContentsBy(int dx, int dy) {
    QTableWidget::scrollContentsBy(dx, dy);
    if (quiet_scrolls_ == 0 && (dx != 0 || dy != 0)) {
        Q_EMIT Scrolled();
    }
    PlaceEditor();
}

void EditorGrid::updateGeometries() {
    // Scroll bars that come and go move the contents.
    const Counted quiet(quiet_scrolls_);
    QTableWidget::updateGeometries();
}

void EditorGrid::changeEvent(QEvent* event) {
    QTableWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
        SetRowHeight();
    }
}

void EditorGrid::SpreadColumns() {
    if (dragged_ || least_widths_.empty()) {
        return;
    }
    int used = 0;
    int shares = 0;
    for (std::size_t k = 0; k < least_widths_.size(); ++k) {
        used += least_widths_[k];
        shares += shares_[k];
    }
    // What rounding leaves over goes to the last column that has a share.
    int room = std::max(0, viewport()->width() - used);
    spreading_ = true;
    for (std::size_t k = 0; k < least_widths_.size(); ++k) {
        const int extra = shares == 0 ? 0 : room * shares_[k] / shares;
        room -= extra;
        shares -= shares_[k];
        if (least_widths_[k] > 0) {
            setColumnWidth(static_cast<int>(k), least_widths_[k] + extra);
        }
    }
    spreading_ = false;
}

void EditorGrid::SetRowHeight() {
    // Rows are as high as the highest editor, so that none hangs over its neighbours.
    int height = fontMetrics().height() + 8;
    for (const auto& editor : editors_) {
        height = std::max(height, editor.widget->sizeHint().height());
    }
    verticalHeader()->setDefaultSectionSize(height);
}

}  // namespace vantry
