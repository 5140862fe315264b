#include "check/pages/preview_window.h"

#include "data/data_error.h"
#include "shell/background_work.h"
#include "shell/dialogs.h"
#include "shell/name_list.h"
#include "shell/qt_text.h"
#include "shell/tool_tip.h"

#include <QAbstractItemModel>
#include <QAbstractItemView>
#include <QDialogButtonBox>
#include <QEvent>
#include <QHeaderView>
#include <QKeySequence>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QTableWidget>
#include <QVBoxLayout>

namespace vantry {
namespace {

constexpr int kWidestColumn = 320;

QTableWidgetItem* NewCell(const RowsPreview::Text& text) {
    QString shown = ToQt(text.text);
    // One row of the grid is one row of the table; the tool tip has the value with its line breaks.
    shown.replace("\r\n", " ").replace('\n', ' ').replace('\r', ' ');
    auto* const cell = new QTableWidgetItem(text.is_cut ? shown + QChar(0x2026) : shown);
    if (text.is_null) {
        // Told apart from an empty text without a colour.
        cell->setText("Null");
        QFont slanted = cell->font();
        slanted.setItalic(true);
        cell->setFont(slanted);
    } else if (!text.text.empty()) {
        cell->setToolTip(ToolTipOf(ToQt(text.text)));
    }
    return cell;
}

}  // namespace

PreviewWindow::PreviewWindow(const QString& table,
                             const RowsPreview& preview,
                             QAbstractItemView& list)
    : LookWindow("PreviewWindow", "First rows of " + table, &list) {
    setWindowModality(Qt::NonModal);
    setAttribute(Qt::WA_DeleteOnClose);
    list.installEventFilter(this);
    connect(list.model(), &QAbstractItemModel::modelReset, this, &QWidget::close);
    connect(list.model(), &QAbstractItemModel::rowsRemoved, this, &QWidget::close);
    auto* const grid = new QTableWidget(
        static_cast<int>(preview.rows.size()), static_cast<int>(preview.columns.size()), this);
    grid->setObjectName("PreviewRows");
    grid->setAccessibleName("Rows");
    grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grid->setWordWrap(false);
    QStringList headings;
    for (const auto& column : preview.columns) {
        headings << ToQt(column.name + "\n" + column.type);
    }
    grid->setHorizontalHeaderLabels(headings);
    grid->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    for (std::size_t row = 0; row < preview.rows.size(); ++row) {
        for (std::size_t k = 0; k < preview.rows[row].size(); ++k) {
            grid->setItem(
                static_cast<int>(row), static_cast<int>(k), NewCell(preview.rows[row][k]));
        }
    }
    grid->resizeColumnsToContents();
    for (int k = 0; k < grid->columnCount(); ++k) {
        // One long text must not push all other columns out of the window.
        grid->setColumnWidth(k, std::min(grid->columnWidth(k), kWidestColumn));
    }
    Rows()->addWidget(grid);
    auto* const note = new QLabel(
        preview.rows.empty() ? QString("There are no rows.")
        : preview.whole      ? QString("All rows: %1.").arg(preview.rows.size())
                        : QString("The first %1 rows; there are more.").arg(preview.rows.size()),
        this);
    note->setObjectName("PreviewNote");
    Rows()->addWidget(note);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    Rows()->addWidget(buttons);
    grid->setFocus();
}

bool PreviewWindow::eventFilter(QObject* watched, QEvent* event) {
    // A frame that is only minimised sends its pages a spontaneous one.
    if (watched == parent() && event->type() == QEvent::Hide && !event->spontaneous()) {
        close();
    }
    return LookWindow::eventFilter(watched, event);
}

void ShowPreview(const TableRec& table, QAbstractItemView& list) {
    try {
        const auto preview = InBackground<RowsPreview>(
            // Both are worked out here: the thread may touch nothing of the session, which goes on
            // if the preview is given up.
            [connection = SourceConnStr,
             statement = PreviewStatement(table)](const std::function<bool()>& given_up) {
                return ReadFirstRows(connection, statement, given_up);
            });
        // The list's, which may be gone while the program goes on.
        (new PreviewWindow(ToQt(table.Name), preview, list))->show();
    } catch (const DataError& error) {
        TellStop(error.Description(), "Preview rows");
    }
}

void OfferPreview(QListWidget& list, std::function<TableRec(const std::string&)> table_of) {
    list.setContextMenuPolicy(Qt::CustomContextMenu);
    QObject::connect(&list,
                     &QListWidget::customContextMenuRequested,
                     &list,
                     [&list, table_of = std::move(table_of)](QPoint at) {
                         auto* const entry =
                             // From the keyboard's menu key the place may be that of no entry; the
                             // current one is meant.
                             list.itemAt(at) != nullptr ? list.itemAt(at) : list.currentItem();
                         if (entry == nullptr) {
                             return;
                         }
                         QMenu menu(&list);
                         auto* const preview = menu.addAction("&Preview rows");
                         auto* const all = menu.addAction("Select &All", QKeySequence::SelectAll);
                         const auto* const chosen = menu.exec(list.viewport()->mapToGlobal(at));
                         if (chosen == preview) {
                             ShowPreview(table_of(FromQt(entry->text())), list);
                         } else if (chosen == all) {
                             ChooseAllInView(list);
                         }
                     });
}

}  // namespace vantry
