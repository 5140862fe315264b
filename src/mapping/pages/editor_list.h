#pragma once
// What the combo boxes that float over grids have in common: long lists open at once, the list is
// as wide as its longest item, and typed text stays as it was typed.

#include <QComboBox>

#include <string>
#include <vector>

namespace vantry {

void PrepareEditorList(QComboBox& list);
// Replaces the items; a typed text stays.
void FillEditorList(QComboBox& list, const std::vector<std::string>& items);
// Makes the opened list as wide as its longest item, within reason.
void FitListWidth(QComboBox& list);

}  // namespace vantry
