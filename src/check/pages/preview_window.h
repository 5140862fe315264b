#pragma once
// The first rows of a table.

#include "check/pages/look_window.h"
#include "check/preview_rows.h"
#include "core/session_state.h"

#include <functional>
#include <optional>
#include <string>

class QAbstractItemView;
class QListWidget;

namespace vantry {

// Work goes on beside it: it shows what was read, and nothing of it changes. It closes when the
// list that it was opened from is hidden or filled anew, as the table may be of another source
// then.
class PreviewWindow : public LookWindow {
    Q_OBJECT
public:
    PreviewWindow(const QString& table, const RowsPreview& preview, QAbstractItemView& list);
    bool eventFilter(QObject* watched, QEvent* event) override;
};

// Reads the rows in the background, Escape gives up, and shows them; a failure is told. By
// SourceConnStr and SourceType.
void ShowPreview(const TableRec& table, QAbstractItemView& list);

// "Preview rows" in the context menu of a page's list of tables. `table_of` makes the table of an
// entry's text.
void OfferPreview(QListWidget& list, std::function<TableRec(const std::string&)> table_of);

}  // namespace vantry
