#pragma once
// The first rows of a table.

#include "check/pages/look_window.h"
#include "check/preview_rows.h"
#include "core/session_state.h"

#include <functional>
#include <optional>
#include <string>

class QListWidget;

namespace vantry {

class PreviewWindow : public LookWindow {
    Q_OBJECT
public:
    PreviewWindow(const QString& table, const RowsPreview& preview, QWidget* parent);
};

// Reads the rows in the background, Escape gives up, and shows them; a failure is told. By
// SourceConnStr and SourceType.
void ShowPreview(const TableRec& table, QWidget* parent);

// "Preview rows" in the context menu of a page's list of tables. `table_of` makes the table of an
// entry's text.
void OfferPreview(QListWidget& list, std::function<TableRec(const std::string&)> table_of);

}  // namespace vantry
