#pragma once
// Fills a grid from a recordset.

#include <QTableWidget>

namespace vantry {

class Recordset;

// Whether the grid's first column counts the rows, headed "S.No.", and the fields follow it.
enum class FixedColumn { None, Numbers };

// A row for each record, the first one current; a column for each field, at least as wide as its
// heading and its longest value; Null is an empty text. Without a record nothing is done: who wants
// the grid empty, empties it. A failure is told in a box.
void FillGrid(QTableWidget& grid, Recordset& rows, FixedColumn fixed = FixedColumn::None);

}  // namespace vantry
