#pragma once
// A column of a grid whose cells are push buttons, drawn as the desktop's style draws buttons. In
// two steps: pressing draws the pressed picture, releasing draws the other one again, and only a
// release on the cell that was pressed is a click. Space and Enter do the same for the current
// cell.

#include <QStyledItemDelegate>

class QTableWidget;

namespace vantry {

class ButtonColumn : public QStyledItemDelegate {
    Q_OBJECT
public:
    ButtonColumn(QTableWidget* grid, int column, const QString& caption);

    // The row whose button is drawn pressed; -1 when none is.
    int PressedRow() const { return pressed_row_; }
    // What the column needs so that no caption is cut off, in pixels.
    int LeastWidth() const;

    void paint(QPainter* painter,
               const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

Q_SIGNALS:
    // By the mouse or by a key; the cell is the current one by then.
    void Clicked(int row);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void Press(int row);
    bool Key(QEvent* event);  // whether it was for the button

    QTableWidget* grid_;
    int column_;
    QString caption_;
    int pressed_row_ = -1;
};

}  // namespace vantry
