#pragma once
// A grid whose cells are changed by editors that float over them: one widget for a whole column,
// which lies over the cell that was entered. The grid signals when a cell is entered and left and
// when the user scrolls; what is taken over and when is the page's business.

#include <QPersistentModelIndex>
#include <QTableWidget>

#include <functional>
#include <span>

namespace vantry {

// How editors lie over their cell.
enum class EditorHeight { Own, Cell };

struct GridColumn {
    const char* header;
    int twips;  // least width; 1/15 pixel at 96 dpi, 0 for a column that isn't seen
    int share;  // of the room that the columns leave over
};

class EditorGrid : public QTableWidget {
    Q_OBJECT
public:
    explicit EditorGrid(QWidget* parent = nullptr);

    // While code fills the grid, no cell event is sent.
    bool GridFilling = false;

    void SetColumns(std::span<const GridColumn> columns);
    // Puts the current cell to the first cell that is seen, without entering it. Editors are
    // closed.
    void Rewind();

    QString Text(int row, int column) const;
    // The colours stay.
    void SetText(int row, int column, const QString& text);

    // A small sign in the cell, with a tool tip that says why; none for an empty text.
    void SetMark(int row, int column, const QString& why);

    // The editor becomes a hidden child of the cells' area.
    void AddEditor(QWidget* editor, EditorHeight height);
    // Over the current cell, visible, with the focus; scrolls the cell into view.
    void OpenEditor(QWidget* editor);
    void CloseEditor(QWidget* editor);
    QWidget* OpenedEditor() const { return open_; }
    // Which cells Tab goes to from an editor.
    void SetTabCells(std::function<bool(int row, int column)> takes_editor);

Q_SIGNALS:
    // Also when the current cell is clicked or asked for by a key and no editor is open.
    void CellEntered(int row, int column);
    // Told of cells that were entered.
    void CellLeft(int row, int column);
    // By the user, not by OpenEditor or a changed size.
    void Scrolled();
    void EnterPressed(QWidget* editor);
    // Escape: what stands in the editor isn't wanted.
    void Escaped(QWidget* editor);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void changeEvent(QEvent* event) override;

protected Q_SLOTS:
    void updateGeometries() override;

private:
    void ChangeCell(int row, int column, int former_row, int former_column);
    void Enter(int row, int column);
    void EnterAgain();
    bool EditorKey(QWidget* editor, QKeyEvent* event);
    bool WalkingKey(const QWidget* editor, const QKeyEvent* event);
    void GoToTabCell(int step);
    void PlaceEditor();
    void SpreadColumns();
    void SetRowHeight();

    struct Editor {
        QWidget* widget;
        EditorHeight height;
    };
    std::vector<Editor> editors_;
    QWidget* open_ = nullptr;
    QPersistentModelIndex place_;  // the cell that it lies over
    std::function<bool(int, int)> takes_editor_;
    std::vector<int> least_widths_;
    std::vector<int> shares_;
    bool entered_ = false;  // the current cell was
    bool dragged_ = false;  // the user has set a width: nothing is spread any more
    bool spreading_ = false;
    int quiet_scrolls_ = 0;  // scrolling that isn't the user's
};

}  // namespace vantry
