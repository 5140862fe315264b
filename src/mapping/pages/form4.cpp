// The page does everything at its loading: both sides' columns, which targets exist, the map. A
// failure on the way leads back to the page of the side that failed, and which pages those are is
// in the rows of the kinds. Easy to get wrong: UnloadPage("Form4") takes this page out of the set
// while its own handler runs, so nothing of it may be touched for long after that; and while the
// grid is filled no cell event may be acted on.

#include "mapping/pages/form4.h"

#include "ui_Form4.h"

#include "core/kinds.h"
#include "core/route.h"
#include "data/data_error.h"
#include "mapping/column_discovery.h"
#include "mapping/map_check.h"
#include "mapping/map_marks.h"
#include "mapping/pages/busy_cursor.h"
#include "mapping/pages/button_column.h"
#include "mapping/pages/editor_list.h"
#include "mapping/pages/form4_menu.h"
#include "mapping/pages/form5.h"
#include "mapping/pages/maperrform.h"
#include "shell/background_work.h"
#include "shell/dialogs.h"
#include "shell/help.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "wizard/wizard_flow.h"

#include <QLineEdit>

#include <algorithm>
#include <utility>

namespace vantry {
namespace {

constexpr int kSourceTable = 0;
constexpr int kColMapping = 1;
constexpr int kDestinationTable = 2;
constexpr int kNumber = 4;

constexpr GridColumn kColumns[] = {
    {"Source Table", 2000, 2},
    {"Col Mapping", 1130, 0},
    {"Destination Table", 2000, 2},
    {"Description", 2000, 1},
    {"S.No.", 1, 0},
};

// The words of one old provider, compared whole: others' failures are shown as they come.
constexpr const char* kUnsupportedType = "Data type is not supported.";
constexpr const char* kUnsupportedTypeHelp =
    "Data type is not supported\n\n\nPossible Causes:\n"
    "1.Either Table contains Datatypes, Which is not supported.\n"
    "2.You have choosen an Old OLE DB Provider or ODBC Driver, Which does not support Long "
    "Datatypes\n"
    "Please choose a new OLE Provider or ODBC Driver";

void TellSourceFailure(const DataError& error) {
    const bool explained =
        ThisSource().explains_unsupported_types && error.Description() == kUnsupportedType;
    TellStop(explained ? kUnsupportedTypeHelp : error.Description(), "Stop");
}

void TellTargetFailure(const DataError& error) {
    Tell("Error: " + std::to_string(error.Number()) + "\n" + error.Description());
}

}  // namespace

Form4::Form4() : Page("Form4"), ui_(std::make_unique<Ui::Form4>()) {
    ui_->setupUi(this);
    PrepareEditorList(*ui_->DestTabList);
    ui_->FlexGrid1->AddEditor(ui_->DestTabList, EditorHeight::Own);
    ui_->FlexGrid1->SetTabCells([](int, int column) { return column == kDestinationTable; });

    connect(ui_->FlexGrid1, &EditorGrid::CellEntered, this, &Form4::EnterCell);
    connect(ui_->FlexGrid1, &EditorGrid::CellLeft, this, &Form4::LeaveCell);
    // Scrolling throws a half-typed name away; Enter takes it.
    connect(ui_->FlexGrid1, &EditorGrid::Scrolled, this, [this] {
        ui_->FlexGrid1->CloseEditor(ui_->DestTabList);
    });
    connect(ui_->FlexGrid1, &EditorGrid::EnterPressed, this, [this] {
        CommitName(ui_->FlexGrid1->currentRow());
        ui_->FlexGrid1->CloseEditor(ui_->DestTabList);
    });
    connect(ui_->FlexGrid1, &EditorGrid::Escaped, this, [this] {
        const auto* const grid = ui_->FlexGrid1;
        ui_->DestTabList->setEditText(grid->Text(grid->currentRow(), kDestinationTable));
        ui_->FlexGrid1->CloseEditor(ui_->DestTabList);
    });

    connect(ui_->FlexGrid1, &QTableWidget::currentCellChanged, this, &Form4::TellMarks);
    menu_ = new Form4Menu(
        *ui_->FlexGrid1, [this] { return ColumnsLoaded != kFalse; }, [this] { ShowMarks(); });
    connect(ui_->NXTBUTT, &PlateButton::Click, this, &Form4::Next);
    connect(ui_->BCKBUTT, &PlateButton::Click, this, &Form4::Back);
    connect(ui_->HLPBUTT, &PlateButton::Click, this, [] { OpenHelp(); });
    connect(ui_->CNCLBUTT, &PlateButton::Click, this, [] {
        AskToCancel("Cancel", "Are you sure to cancel this Session?");
    });
}

Form4::~Form4() = default;

void Form4::OnLoad() {
    WaitNotice wait;
    ColumnsLoaded = kFalse;
    ui_->FlexGrid1->GridFilling = true;
    CellEntered = kFalse;
    SetupTableGrid();
    FillSourceTables();
    FillMapButtons();
    FillTargetTables();
    ShowTargetTables();
    LoadColumns(ColumnsLoaded);
    if (ColumnsLoaded != kFalse) {
        BuildColMaps();
    } else {
        BackToSource();
    }
}

void Form4::OnActivate() {
    Page::OnActivate();
    ShowMarks();
}

// What the map does that its names don't show. The table of columns may have changed meanwhile.
void Form4::ShowMarks() {
    if (ColumnsLoaded == kFalse) {
        return;
    }
    marks_ = MarksOfTables();
    // A page beneath this one may have chosen fewer tables meanwhile.
    marks_.resize(static_cast<std::size_t>(ui_->FlexGrid1->rowCount()));
    for (int row = 0; row < ui_->FlexGrid1->rowCount(); ++row) {
        ui_->FlexGrid1->SetMark(row, kSourceTable, ToQt(marks_[static_cast<std::size_t>(row)]));
    }
    losses_ = menu_->MarkLosses(kColMapping);
    TellMarks();
}

// The marked rows may be far below, and who uses no mouse gets no tool tip: the status bar leads to
// them, and says of the current one why.
void Form4::TellMarks() {
    Notice notice{{}, NoticeKind::Warning};
    auto& grid = *ui_->FlexGrid1;
    std::vector<int> marked;
    for (int row = 0; row < static_cast<int>(marks_.size()); ++row) {
        if (!marks_[static_cast<std::size_t>(row)].empty()) {
            marked.push_back(row);
        }
    }
    if (std::find(marked.begin(), marked.end(), grid.currentRow()) != marked.end()) {
        notice.parts.push_back({marks_[static_cast<std::size_t>(grid.currentRow())] + " "});
    } else if (!marked.empty()) {
        notice.parts.push_back({CountInWords(marked.size(), "table is", "tables are") +
                                " marked: the mouse on the sign says why. "});
        notice.parts.push_back({"Go to the first", [this, row = marked.front()] {
                                    ui_->FlexGrid1->setFocus();
                                    ui_->FlexGrid1->setCurrentCell(row, kSourceTable);
                                }});
        notice.parts.push_back({" "});
    }
    if (!losses_.empty()) {
        notice.parts.push_back({losses_});
    }
    SetNotice(std::move(notice));
}

bool Form4::QueryUnload() {
    return AskToClose();
}

void Form4::SetupTableGrid() {
    ui_->FlexGrid1->SetColumns(kColumns);
}

void Form4::FillSourceTables() {
    ui_->FlexGrid1->setRowCount(static_cast<int>(SrcTables.size()));
    for (int row = 0; row < ui_->FlexGrid1->rowCount(); ++row) {
        const auto& table = SrcTables[static_cast<std::size_t>(row)];
        ui_->FlexGrid1->SetText(row, kSourceTable, ToQt(table.Name));
    }
    // Without entering the cell: the user has chosen none yet.
    ui_->FlexGrid1->Rewind();
}

void Form4::FillMapButtons() {
    // Painted, not a widget a row: a thousand tables would be a thousand buttons.
    auto* const buttons = new ButtonColumn(ui_->FlexGrid1, kColMapping, "Columns");
    for (int row = 0; row < ui_->FlexGrid1->rowCount(); ++row) {
        auto* const cell = new QTableWidgetItem;
        cell->setData(Qt::AccessibleTextRole, "Columns");
        ui_->FlexGrid1->setItem(row, kColMapping, cell);
    }
    connect(buttons, &ButtonColumn::Clicked, this, &Form4::OpenColumns);
}

void Form4::ShowTargetTables() {
    for (int row = 0; row < ui_->FlexGrid1->rowCount(); ++row) {
        const auto& table = DstTables[static_cast<std::size_t>(row)];
        ui_->FlexGrid1->SetText(row, kDestinationTable, ToQt(table.Name));
        // The table's number travels with the row to the page of its columns, which knows tables by
        // it alone.
        ui_->FlexGrid1->SetText(row, kNumber, QString::number(row));
    }
}

void Form4::ShowTargetNames() {
    FillEditorList(*ui_->DestTabList, target_names_);
}

void Form4::LoadColumns(i16& ok) {
    ok = kFalse;
    try {
        LoadSourceColumns(RunInBackground);
        CheckTargetTables(target_names_, RunInBackground);
        ShowTargetNames();
    } catch (const DataError& error) {
        TellSourceFailure(error);
        return;
    }
    // Its failure leads to the target page by itself; the source's columns are good all the same.
    LoadAllTargetColumns();
    ui_->FlexGrid1->GridFilling = false;
    ok = kTrue;
}

// A failure sends the user back to the target page; the page is gone afterwards.
bool Form4::LoadAllTargetColumns() {
    try {
        LoadTargetColumns(RunInBackground);
        return true;
    } catch (const DataError& error) {
        TellTargetFailure(error);
    }
    UnloadPage("Form4");
    if (ThisTarget().page_after_failed_probe) {
        ShowPage(TargetPageOf(TargetType));
    }
    return false;
}

// An Access file with a password fails in ways that don't name it, hence the hint.
void Form4::BackToSource() {
    UnloadPage("Form4");
    if (ThisSource().asks_for_password_file) {
        Tell(
            "Please ensure you have entered the correct username,password and System Database "
            "File if the DB is using one");
    }
    if (ThisSource().page_after_failed_probe) {
        ShowPage(SourcePageOf(SourceType));
    }
}

void Form4::EnterCell(int row, int column) {
    // The other columns show what can't be changed here.
    if (column == kDestinationTable) {
        ui_->DestTabList->setEditText(ui_->FlexGrid1->Text(row, column));
        ui_->FlexGrid1->OpenEditor(ui_->DestTabList);
        ui_->DestTabList->lineEdit()->selectAll();
    }
    CellEntered = kTrue;
}

void Form4::LeaveCell(int row, int column) {
    if (CellEntered == kFalse) {
        return;
    }
    if (column == kDestinationTable) {
        CommitName(row);
    }
    CellEntered = kFalse;
}

bool Form4::CommitName(int row) {
    const auto index = static_cast<std::size_t>(row);
    const std::string name = FromQt(ui_->DestTabList->currentText());
    if (!NameTargetTable(index, name)) {
        return true;
    }
    ui_->FlexGrid1->SetText(row, kDestinationTable, ToQt(name));
    ui_->FlexGrid1->CloseEditor(ui_->DestTabList);
    const i16 tab_id = DstTables[index].TabID;
    // Also after a failed reload: the map must belong to the columns that are there now.
    const bool reloaded = ReloadTable(tab_id);
    RebuildTableMap(tab_id);
    ShowMarks();
    return reloaded;
}

bool Form4::ReloadTable(i16 tab_id) {
    // Only some kinds add names; the list is filled anew when they did.
    const std::size_t listed = target_names_.size();
    try {
        const BusyCursor busy;
        ReloadSourceColumns(tab_id, RunInBackground);
        CheckTargetTable(tab_id, target_names_, RunInBackground);
        if (target_names_.size() != listed) {
            ShowTargetNames();
        }
    } catch (const DataError& error) {
        TellSourceFailure(error);
        return false;
    }
    try {
        const BusyCursor busy;
        ReloadTargetColumns(tab_id, RunInBackground);
        return true;
    } catch (const DataError& error) {
        TellTargetFailure(error);
        return false;
    }
}

void Form4::OpenColumns(int row) {
    LoadPage("Form5");
    auto* const columns = FindPageAs<Form5>("Form5");
    if (columns == nullptr) {
        return;
    }
    // The texts of the grid, which are what the user has just seen.
    const auto* const grid = ui_->FlexGrid1;
    columns->SetTable(grid->Text(row, kNumber),
                      grid->Text(row, kSourceTable),
                      grid->Text(row, kDestinationTable));
    ShowPageModal("Form5");
}

void Form4::ChkAllTabColMapping(i16& ok) {
    // Two questions on purpose: ignoring the list, and going on in spite of what may come of it.
    const std::string errors = MapErrorsOfAllTables();
    ok = ToI16(errors.empty() ||
               (AskToIgnoreMapErrors(errors) &&
                AskYesNo("Some Columns Datatypes are not matching.\nThere is a possibility of "
                         "conversion errors.\nDo you wish to continue?",
                         std::string(kDefaultTitle))));
}

void Form4::Next() {
    // A name that stands in the open list is meant: the button leaves its cell, too.
    const auto* const grid = ui_->FlexGrid1;
    if (grid->OpenedEditor() != nullptr && grid->currentColumn() == kDestinationTable &&
        !CommitName(grid->currentRow())) {
        return;
    }
    i16 ok = kFalse;
    try {
        ChkAllTabColMapping(ok);
    } catch (const DataError& error) {
        TellStop(error.Description(), "Stop");
        return;
    }
    if (ok == kFalse) {
        return;
    }
    // Rows that lack a side can't be loaded, whatever their mark says.
    UnselectSkippedRows();
    HidePage("Form4");
    ShowPage("Form13");
}

// A text target has no page to go back to.
void Form4::Back() {
    UnloadPage("Form4");
    if (ThisTarget().page_before_mapping && !TargetPageOf(TargetType).empty()) {
        ShowPage(TargetPageOf(TargetType));
    }
}

}  // namespace vantry
