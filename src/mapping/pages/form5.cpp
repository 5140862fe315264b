// One grid with four editors over it: a list of source columns, one of target columns, one of
// types, and a box for numbers. Each edit is written into ColMaps at once (mapping/map_edit says
// what belongs to it) and shown from there; what the editors do stands in form5_edit.cpp, and here
// what fills the page and what closes it. Easy to get wrong: nothing of the target side can be
// changed once the target exists.

#include "mapping/pages/form5.h"

#include "ui_Form5.h"

#include "core/route.h"
#include "data/data_error.h"
#include "mapping/map_check.h"
#include "mapping/map_edit.h"
#include "mapping/map_marks.h"
#include "mapping/map_match.h"
#include "mapping/pages/busy_cursor.h"
#include "mapping/pages/editor_list.h"
#include "mapping/pages/form5_columns.h"
#include "mapping/pages/maperrform.h"
#include "shell/dialogs.h"
#include "shell/help.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "shell/tool_tip.h"

#include <QButtonGroup>
#include <QMenu>

#include <algorithm>
#include <utility>

namespace vantry {

using enum form5::Column;

namespace {

// Least widths in twips, then the share of the room that is left over. The outer two carry the
// row's number and aren't seen.
constexpr GridColumn kColumns[] = {
    {"", 2, 0},
    {"Source Column", 1200, 3},
    {"Datatype", 1000, 2},
    {"Size", 500, 1},
    {"Dec", 400, 1},
    {"Dest. Column", 1200, 3},
    {"Datatype", 1000, 2},
    {"Size", 500, 1},
    {"Dec", 400, 1},
    {"Null", 500, 0},
    {"", 0, 0},
};

constexpr const char* kOptions[] = {"DROP", "DELETE", "APPEND"};

// The source's half of the grid is tinted: it is read from a table that this page can't change.
const QColor kSourceBack(255, 250, 221);

QTableWidgetItem* NewCell(const QString& text, int column) {
    auto* const cell = new QTableWidgetItem(text);
    if (column >= kSourceColumn && column <= kSourceDec) {
        cell->setBackground(kSourceBack);
    }
    return cell;
}

}  // namespace

Form5::Form5() : Page("Form5"), ui_(std::make_unique<Ui::Form5>()) {
    ui_->setupUi(this);
    auto* const grid = ui_->ColGrid1;
    for (auto* const list : {ui_->SColList, ui_->DColList, ui_->DTCombo}) {
        PrepareEditorList(*list);
        grid->AddEditor(list, EditorHeight::Own);
    }
    grid->AddEditor(ui_->t1, EditorHeight::Cell);
    grid->SetTabCells([this](int row, int column) { return TakesEditor(row, column); });

    grid->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(grid, &QWidget::customContextMenuRequested, this, &Form5::ShowMatchMenu);
    connect(grid, &EditorGrid::CellEntered, this, &Form5::EnterCell);
    connect(grid, &EditorGrid::CellLeft, this, &Form5::LeaveCell);
    connect(grid, &EditorGrid::Scrolled, this, &Form5::Scroll);
    connect(grid, &EditorGrid::EnterPressed, this, &Form5::PressEnter);
    connect(grid, &EditorGrid::Escaped, this, &Form5::Escape);
    connect(ui_->SColList, &QComboBox::activated, this, &Form5::PickSource);
    connect(ui_->DColList, &QComboBox::activated, this, &Form5::PickTarget);

    // The groups keep their heights when the line goes.
    QSizePolicy stays = ui_->FirstTimeChk->sizePolicy();
    stays.setRetainSizeWhenHidden(true);
    ui_->FirstTimeChk->setSizePolicy(stays);

    QRadioButton* const options[] = {ui_->TabDropOpt_0, ui_->TabDropOpt_1, ui_->TabDropOpt_2};
    for (int k = 0; k < 3; ++k) {
        ui_->TabDropOpt->setId(options[k], k);
    }
    connect(ui_->TabDropOpt, &QButtonGroup::idClicked, this, &Form5::ChooseOption);
    connect(ui_->HLPBUTT, &PlateButton::Click, this, [] { OpenHelp(); });
    connect(ui_->closebutt, &PlateButton::Click, this, [this] { Close(); });
}

Form5::~Form5() = default;

void Form5::SetTable(const QString& tab_id, const QString& source, const QString& target) {
    ui_->TabIDLabel->setText(tab_id);
    ui_->SourceTabName->setText(source);
    ui_->SourceTabName->setToolTip(ToolTipOf(source));
    ui_->DestTabName->setText(target);
    ui_->DestTabName->setToolTip(ToolTipOf(target));
}

void Form5::OnActivate() {
    Page::OnActivate();
    ui_->ColGrid1->GridFilling = true;
    FillColGrid(TabId());
    ShowTableOptions();
    FillTypeCombo();
    tell_order_ = NamesMatchInAnotherOrder(static_cast<i16>(TabId()));
    ShowMarks();
}

double Form5::TabId() const {
    return ui_->TabIDLabel->text().toDouble();
}

std::size_t Form5::TableIndex() const {
    const auto found = std::find_if(SrcTables.begin(), SrcTables.end(), [&](const TableRec& table) {
        return table.TabID == TabId();
    });
    // The size of SrcTables where there is none, which callers ask for.
    return static_cast<std::size_t>(found - SrcTables.begin());
}

// ---- Filling ----

void Form5::FillColGrid(double tab_id) {
    auto* const grid = ui_->ColGrid1;
    grid->SetColumns(kColumns);
    // By index: rows of other tables stand between them after a target was renamed.
    RowToMap.clear();
    for (std::size_t index = 0; index < ColMaps.size(); ++index) {
        if (ColMaps[index].TabID == tab_id) {
            RowToMap.push_back(index);
        }
    }
    grid->setRowCount(static_cast<int>(RowToMap.size()));
    for (int row = 0; row < grid->rowCount(); ++row) {
        FillRow(row, MapRow(row));
    }
    grid->Rewind();
    FillColLists(tab_id);
    grid->GridFilling = false;
}

void Form5::FillRow(int row, const ColMapRec& map) {
    const QString pos = QString::number(map.Pos);
    const QString texts[] = {pos,
                             ToQt(map.SCName),
                             ToQt(map.SDtype),
                             QString::number(map.SWidth),
                             QString::number(map.SScale),
                             ToQt(map.DCName),
                             ToQt(map.DDtype),
                             QString::number(map.DWidth),
                             QString::number(map.DScale),
                             QString(),
                             pos};
    for (int column = kPos; column <= kPosAgain; ++column) {
        ui_->ColGrid1->setItem(row, column, NewCell(texts[column], column));
    }
}

// The page's own texts don't tell; the status bar counts what is marked.
void Form5::ShowMarks() {
    int marked = 0;
    for (int row = 0; row < ui_->ColGrid1->rowCount(); ++row) {
        // A table that is dropped is made anew, with the source's own names.
        const bool exists = TargetExists != kFalse && !ui_->TabDropOpt_0->isChecked();
        const std::string mark = MarkOfRow(MapRow(row), exists);
        marked += mark.empty() ? 0 : 1;
        ui_->ColGrid1->SetMark(row, kSourceColumn, ToQt(mark));
    }
    std::string notice =
        marked == 0 ? std::string()
                    : CountInWords(static_cast<std::size_t>(marked), "row is", "rows are") +
                          " marked: the mouse on the sign says why.";
    // Once: whoever goes on has seen it.
    if (std::exchange(tell_order_, false)) {
        notice = "All names match in another order: a right click on the grid can match by name.";
    }
    SetNotice(std::move(notice), NoticeKind::Warning);
}

void Form5::ShowMatchMenu(QPoint at) {
    auto* const grid = ui_->ColGrid1;
    QMenu menu(grid);
    menu.setObjectName("MatchMenu");
    menu.addAction("Match columns")->setEnabled(false);
    menu.addSeparator();
    menu.addAction("By &Name", this, [this] { Match(MatchBy::Name); });
    menu.addAction("By &Position", this, [this] { Match(MatchBy::Position); });
    menu.addAction("&Skip What Has No Partner", this, [this] { Match(MatchBy::Skip); });
    menu.exec(grid->viewport()->mapToGlobal(at));
}

// An open editor belongs to a row that is about to change.
void Form5::Match(MatchBy by) {
    auto* const grid = ui_->ColGrid1;
    grid->GridFilling = true;
    if (grid->OpenedEditor() != nullptr) {
        grid->CloseEditor(grid->OpenedEditor());
    }
    former_.row = -1;
    MatchColumns(static_cast<i16>(TabId()), by);
    FillColGrid(TabId());
    ShowMarks();
}

void Form5::FillColLists(double tab_id) {
    // A hidden list beside each has the positions: names may repeat, and the first would be found.
    const auto fill = [&](QComboBox& names, QComboBox& positions, const auto& columns) {
        QStringList texts(ToQt(SkipLabel));
        QStringList indexes((QString()));
        for (std::size_t index = 0; index < columns.size(); ++index) {
            if (columns[index].TabID == tab_id) {
                texts << ToQt(columns[index].ColName);
                indexes << QString::number(index);
            }
        }
        names.clear();
        names.addItems(texts);
        positions.clear();
        positions.addItems(indexes);
        FitListWidth(names);
    };
    fill(*ui_->SColList, *ui_->SColPos, SrcCols);
    fill(*ui_->DColList, *ui_->DColPos, DstCols);
}

void Form5::ShowTableOptions() {
    const std::size_t index = TableIndex();
    if (index == SrcTables.size()) {
        return;
    }
    const auto& table = SrcTables[index];
    ui_->SQLCondTxt->setPlainText(ToQt(table.WhereCond));
    // Kept: what may be edited must not change under an open editor.
    TargetExists = table.TableExists;
    ui_->FirstTimeChk->setVisible(TargetExists == kFalse);
    for (int k = 0; k < 3; ++k) {
        if (table.LoadOption == kOptions[k]) {
            ui_->TabDropOpt->button(k)->setChecked(true);
        }
    }
}

// By the target as it is when the page shows: the kinds can't change under it.
void Form5::FillTypeCombo() {
    for (const auto type : TargetTypeChoices(TargetType)) {
        ui_->DTCombo->addItem(ToQt(type));
    }
    FitListWidth(*ui_->DTCombo);
}

void Form5::ChooseOption(int option) {
    const std::size_t index = TableIndex();
    // Both sides are saved, and the run reads the source's.
    if (index < SrcTables.size() && ui_->TabDropOpt->button(option)->isChecked()) {
        SrcTables[index].LoadOption = DstTables[index].LoadOption = kOptions[option];
    }
    ShowMarks();
}

// ---- Closing ----

bool Form5::Close() {
    // What stands in an open editor is meant: the button leaves its cell, too.
    const auto* const grid = ui_->ColGrid1;
    if (grid->OpenedEditor() != nullptr && !LeaveCell(grid->currentRow(), grid->currentColumn())) {
        return false;
    }
    UnselectSkippedRows();
    // Over all tables, not this one alone: it's the last look before the map is used.
    if (const std::string name = FindDuplicateTarget(ColMaps); !name.empty()) {
        TellStop("Column " + name + " is Duplicated. Please eliminate Duplicates");
        return false;
    }
    i16 ok = kTrue;
    if (!ui_->TabDropOpt_0->isChecked()) {
        ChkColMapping(ok);
    }
    if (ok != kFalse) {
        ChkWhereCond(ok);
    }
    if (ok == kFalse) {
        ui_->ColGrid1->CloseEditor(ui_->SColList);
        ui_->ColGrid1->CloseEditor(ui_->DColList);
        return false;
    }
    UnloadPage("Form5");
    ShowPage("Form4");
    return true;
}

void Form5::ChkColMapping(i16& ok) {
    ok = kTrue;
    if (RowToMap.empty()) {
        return;
    }
    // Rows of one table stay together in ColMaps, so its first and last bound all of them.
    try {
        const std::string errors = MapErrorsOfRows(RowToMap.front(), RowToMap.back() + 1);
        if (!errors.empty()) {
            CurrentDialogs().Beep();
            ok = ToI16(AskToIgnoreMapErrors(errors));
        }
    } catch (const DataError& error) {
        TellStop(error.Description(), "Stop");
        ok = kFalse;
    }
}

void Form5::ChkWhereCond(i16& ok) {
    ok = kFalse;
    try {
        const BusyCursor busy;
        StoreWhereCondition(TableIndex(), FromQt(ui_->SQLCondTxt->toPlainText()));
        ok = kTrue;
    } catch (const DataError& error) {
        TellStop(std::to_string(error.Number()) + "\r" + error.Description(),
                 "Invalid Where Condition");
    }
}

}  // namespace vantry
