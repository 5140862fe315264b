#include "repository/pages/session_grid.h"

#include "core/data_access.h"
#include "data/value_text.h"
#include "shell/dialogs.h"
#include "shell/qt_text.h"
#include "shell/tool_tip.h"

#include <QHeaderView>

namespace vantry {
namespace {

// Headings are one text, parted by "|". Each is as long as its column's longest value, or has some
// blanks behind it: by that the column gets its width.
QString PaddedHeadings(const QStringList& names, const std::vector<qsizetype>& longest) {
    constexpr qsizetype kBlanks = 5;
    QStringList padded;
    for (qsizetype i = 0; i < names.size(); ++i) {
        const auto& name = names[i];
        const auto length = longest[static_cast<std::size_t>(i)];
        padded << name.leftJustified(length > name.size() ? length : name.size() + kBlanks);
    }
    return padded.join('|');
}

void Fill(QTableWidget& grid, Recordset& rows, FixedColumn fixed) {
    const bool numbers = fixed == FixedColumn::Numbers;
    const int fields = rows.Fields().Count();
    const int columns = fields + (numbers ? 1 : 0);
    QStringList names;
    if (numbers) {
        names << "S.No.";
    }
    for (int i = 0; i < fields; ++i) {
        names << ToQt(rows.Fields()[i].Name());
    }
    std::vector<qsizetype> longest(static_cast<std::size_t>(columns), 0);
    grid.setColumnCount(columns);
    grid.setRowCount(static_cast<int>(rows.RecordCount()));
    rows.MoveFirst();
    for (int row = 0; !rows.Eof() && row < grid.rowCount(); ++row, rows.MoveNext()) {
        for (int column = 0; column < columns; ++column) {
            const bool counts = numbers && column == 0;
            const int field = numbers ? column - 1 : column;
            const QString text =
                counts ? QString::number(row + 1) : ToQt(ToText(rows.Fields()[field].Value()));
            auto* const item = new QTableWidgetItem(text);
            item->setToolTip(ToolTipOf(text));
            grid.setItem(row, column, item);
            auto& length = longest[static_cast<std::size_t>(column)];
            length = std::max(length, text.size());
        }
    }
    grid.setHorizontalHeaderLabels(PaddedHeadings(names, longest).split('|'));
    grid.resizeColumnsToContents();
    grid.setCurrentCell(0, 0);
}

}  // namespace

void FillGrid(QTableWidget& grid, Recordset& rows, FixedColumn fixed) {
    const auto tell = [](int number, const std::string& description) {
        Tell("Error Occurred during loading of Sessions\nError Details :\n  Error Number: " +
                 std::to_string(number) + "\n  Error Description : " + description,
             "Populate Sessions Error");
    };
    // Each item would be sorted in, and painted, by itself.
    grid.setUpdatesEnabled(false);
    try {
        if (rows.RecordCount() > 0) {
            Fill(grid, rows, fixed);
        }
    } catch (const DataError& error) {
        tell(error.Number(), error.Description());
    } catch (const std::exception& error) {
        tell(0, error.what());
    }
    grid.setUpdatesEnabled(true);
}

}  // namespace vantry
