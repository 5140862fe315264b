// What the four editors over the grid do. The record is always written first and the cell shown
// from it. Easy to get wrong: leaving a cell is strict about numbers and tells, Enter and scrolling
// are not; and a choice from a list is written at once, so Escape has to put the whole row back.

#include "ui_Form5.h"

#include "mapping/map_edit.h"
#include "mapping/pages/form5.h"
#include "mapping/pages/form5_columns.h"
#include "shell/dialogs.h"
#include "shell/qt_text.h"

#include <QTableWidgetItem>

namespace vantry {

using enum form5::Column;

namespace {

// Red: the row loads nothing on that side.
void SetSkipped(QTableWidgetItem& cell, bool skipped) {
    const QColor kSkipped(255, 0, 0);
    cell.setData(Qt::ForegroundRole, skipped ? QVariant(QBrush(kSkipped)) : QVariant());
}

bool IsSkip(const QString& text) {
    return text == ToQt(SkipLabel);
}

void SetComboText(QComboBox& combo, const QString& text) {
    // Exactly, letter case included: two columns may differ by it alone.
    combo.setCurrentIndex(combo.findText(text, Qt::MatchExactly | Qt::MatchCaseSensitive));
    if (combo.isEditable()) {
        combo.setEditText(text);
        combo.lineEdit()->selectAll();
    }
}

}  // namespace

ColMapRec& Form5::MapRow(int row) {
    return ColMaps[RowToMap[static_cast<std::size_t>(row)]];
}

bool Form5::TakesEditor(int row, int column) {
    switch (column) {
        case kSourceColumn:
            return true;
        case kTargetColumn:
        case kTargetType:
            return TargetExists == kFalse;
        case kTargetSize:
            return TargetExists == kFalse && HasTargetSize(MapRow(row).DDtype);
        case kTargetDec:
            return TargetExists == kFalse && HasTargetDecimals(MapRow(row).DDtype);
        default:
            return false;
    }
}

void Form5::EnterCell(int row, int column) {
    if (!TakesEditor(row, column)) {
        return;
    }
    KeepRow(row);
    const QString text = ui_->ColGrid1->Text(row, column);
    if (column == kTargetSize || column == kTargetDec) {
        ui_->t1->setText(text);
        ui_->t1->selectAll();
        ui_->ColGrid1->OpenEditor(ui_->t1);
        return;
    }
    // Three lists, one a column: each keeps its own choice while another is open.
    auto* const list = column == kSourceColumn   ? ui_->SColList
                       : column == kTargetColumn ? ui_->DColList
                                                 : ui_->DTCombo;
    SetComboText(*list, text);
    ui_->ColGrid1->OpenEditor(list);
}

// False: what stands in the editor can't be taken, and the user has been told.
bool Form5::LeaveCell(int row, int column) {
    if (column == kSourceColumn) {
        LeaveSource(row);
    } else if (TargetExists != kFalse) {
        return true;
    } else if (column == kTargetColumn) {
        CommitTargetName(row);
    } else if (column == kTargetType) {
        CommitTargetType(row);
    } else if (column == kTargetSize && ui_->ColGrid1->OpenedEditor() == ui_->t1) {
        return LeaveSize(row);
    } else if (column == kTargetDec && ui_->ColGrid1->OpenedEditor() == ui_->t1) {
        return LeaveDecimals(row);
    }
    return true;
}

// In t1 Enter is looser than leaving the cell; in a list it does the same.
void Form5::PressEnter(QWidget* editor) {
    if (editor == ui_->t1) {
        CommitNumberLoosely();
    } else {
        LeaveCell(ui_->ColGrid1->currentRow(), ui_->ColGrid1->currentColumn());
    }
}

void Form5::Scroll() {
    auto* const grid = ui_->ColGrid1;
    if (grid->OpenedEditor() == ui_->t1) {
        CommitNumberLoosely();
    } else if (grid->OpenedEditor() == ui_->DTCombo) {
        CommitTargetType(grid->currentRow());
    }
    grid->CloseEditor(ui_->SColList);
    grid->CloseEditor(ui_->DColList);
}

void Form5::Escape(QWidget* editor) {
    auto* const grid = ui_->ColGrid1;
    RestoreRow();
    // Put back before it closes: closing by losing the focus would take it over.
    if (auto* const list = qobject_cast<QComboBox*>(editor)) {
        SetComboText(*list, grid->Text(grid->currentRow(), grid->currentColumn()));
    }
    grid->CloseEditor(editor);
}

void Form5::KeepRow(int row) {
    former_ = {row, MapRow(row), {}};
    for (int column = 0; column < ui_->ColGrid1->columnCount(); ++column) {
        const auto* const cell = ui_->ColGrid1->item(row, column);
        former_.cells.emplace_back(cell == nullptr ? nullptr : cell->clone());
    }
}

// A choice from a list is written at once; Escape means that nothing was chosen.
void Form5::RestoreRow() {
    if (former_.row < 0 || former_.row != ui_->ColGrid1->currentRow()) {
        return;
    }
    ui_->ColGrid1->GridFilling = true;
    MapRow(former_.row) = former_.map;
    for (int column = 0; column < ui_->ColGrid1->columnCount(); ++column) {
        auto* const cell = ui_->ColGrid1->item(former_.row, column);
        if (auto& kept = former_.cells[static_cast<std::size_t>(column)];
            cell != nullptr && kept != nullptr) {
            *cell = *kept;
        }
    }
    ui_->ColGrid1->GridFilling = false;
}

void Form5::ShowSource(int row) {
    auto* const grid = ui_->ColGrid1;
    const auto& map = MapRow(row);
    const bool skipped = map.SCName == SkipLabel;
    grid->SetText(row, kSourceColumn, ToQt(map.SCName));
    SetSkipped(*grid->item(row, kSourceColumn), skipped);
    grid->SetText(row, kSourceType, skipped ? QString() : ToQt(map.SDtype));
    grid->SetText(row, kSourceSize, skipped ? QString() : QString::number(map.SWidth));
    grid->SetText(row, kSourceDec, skipped ? QString() : QString::number(map.SScale));
}

void Form5::ShowTarget(int row) {
    auto* const grid = ui_->ColGrid1;
    const auto& map = MapRow(row);
    const bool skipped = map.DCName == SkipLabel;
    grid->SetText(row, kTargetColumn, ToQt(map.DCName));
    SetSkipped(*grid->item(row, kTargetColumn), skipped);
    grid->SetText(row, kTargetType, skipped ? QString() : ToQt(map.DDtype));
    grid->SetText(row, kTargetSize, skipped ? QString() : QString::number(map.DWidth));
    grid->SetText(row, kTargetDec, skipped ? QString() : QString::number(map.DScale));
}

void Form5::PickSource(int item) {
    auto* const grid = ui_->ColGrid1;
    const int row = grid->currentRow();
    // Texts of other cells change, and none of that is the user's doing.
    grid->GridFilling = true;
    if (IsSkip(ui_->SColList->itemText(item))) {
        PickSourceSkip(MapRow(row));
    } else {
        PutSourceColumn(MapRow(row), ui_->SColPos->itemText(item).toULongLong());
    }
    ShowSource(row);
    grid->GridFilling = false;
}

void Form5::PickTarget(int item) {
    auto* const grid = ui_->ColGrid1;
    const int row = grid->currentRow();
    grid->GridFilling = true;
    if (IsSkip(ui_->DColList->itemText(item))) {
        PutTargetSkip(MapRow(row));
    } else {
        PutTargetColumn(MapRow(row), ui_->DColPos->itemText(item).toULongLong());
    }
    ShowTarget(row);
    grid->GridFilling = false;
}

void Form5::LeaveSource(int row) {
    // The item, not the text: the column is found by the position that stands beside the item.
    const int item = ui_->SColList->currentIndex();
    ui_->ColGrid1->CloseEditor(ui_->SColList);
    if (item < 0) {
        return;  // the list doesn't hold what stands in the cell
    }
    if (IsSkip(ui_->SColList->itemText(item))) {
        LeaveSourceSkip(MapRow(row));
    } else {
        PutSourceColumn(MapRow(row), ui_->SColPos->itemText(item).toULongLong());
    }
    ShowSource(row);
    ShowMarks();
}

// The list takes typed names, too; nothing else in the row follows from them.
void Form5::CommitTargetName(int row) {
    const QString text = ui_->DColList->currentText();
    ui_->ColGrid1->SetText(row, kTargetColumn, text);
    SetSkipped(*ui_->ColGrid1->item(row, kTargetColumn), IsSkip(text));
    MapRow(row).DCName = FromQt(text);
    ui_->ColGrid1->CloseEditor(ui_->DColList);
    ShowMarks();
}

void Form5::CommitTargetType(int row) {
    const QString text = ui_->DTCombo->currentText();
    ui_->ColGrid1->SetText(row, kTargetType, text);
    MapRow(row).DDtype = FromQt(text);
    ui_->ColGrid1->CloseEditor(ui_->DTCombo);
}

bool Form5::LeaveSize(int row) {
    auto& map = MapRow(row);
    const QString text = ui_->t1->text();
    // The text as typed stays in the cell; the record has the number.
    const auto size = SizeOf(FromQt(text));
    if (size) {
        ui_->ColGrid1->SetText(row, kTargetSize, text);
        map.DWidth = *size;
    } else {
        TellStop("Invalid Number", "Stop");
        ui_->ColGrid1->SetText(row, kTargetSize, QString::number(map.DWidth));
    }
    ui_->ColGrid1->CloseEditor(ui_->t1);
    return size.has_value();
}

bool Form5::LeaveDecimals(int row) {
    auto& map = MapRow(row);
    const QString text = ui_->t1->text();
    const auto decimals = DecimalsOf(FromQt(text));
    const auto below_size = AreDecimalsBelowSize(FromQt(text), map.DWidth);
    const bool good = decimals && below_size.value_or(false);
    if (good) {
        ui_->ColGrid1->SetText(row, kTargetDec, text);
        map.DScale = *decimals;
    } else {
        // A number that is too large gets its own words, anything else is no number.
        if (!below_size.value_or(true)) {
            TellStop("Decimal Places must be less than field size");
        } else {
            TellStop("Invalid Number", "Stop");
        }
        ui_->ColGrid1->SetText(row, kTargetDec, QString::number(map.DScale));
        ui_->t1->clear();
    }
    ui_->ColGrid1->CloseEditor(ui_->t1);
    return good;
}

void Form5::CommitNumberLoosely() {
    // Enter asks no questions: what is no number becomes the usual size, and the text stays to be
    // seen.
    constexpr i32 kSizeOfNoNumber = 10;
    auto* const grid = ui_->ColGrid1;
    const int row = grid->currentRow();
    const QString text = ui_->t1->text();
    if (grid->currentColumn() == kTargetSize) {
        MapRow(row).DWidth = SizeOf(FromQt(text)).value_or(kSizeOfNoNumber);
    } else {
        MapRow(row).DScale = DecimalsOf(FromQt(text)).value_or(0);
    }
    grid->SetText(row, grid->currentColumn(), text);
    grid->CloseEditor(ui_->t1);
}

}  // namespace vantry
