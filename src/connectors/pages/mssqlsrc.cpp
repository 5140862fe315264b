// The tables of the chosen database stand as OWNER.NAME, which Next takes apart at the first dot.
// Easy to get wrong: Next appends the database to the session's string each time, and with SQL
// Server on both sides no page follows.
#include "connectors/pages/mssqlsrc.h"

#include "ui_MSSQLSrc.h"

#include "check/pages/preview_window.h"
#include "core/kinds.h"
#include "data/data_error.h"
#include "shell/dialogs.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "wizard/wizard_flow.h"

namespace vantry {

MSSQLSrc::MSSQLSrc()
    : SqlServerPage("MSSQLSrc",
                    SourceConnStr,
                    "If you are connecting to SQL Server Express Edition then Please Check SQL "
                    "Express Edition Check Box and Click Connect Again"),
      ui_(std::make_unique<Ui::MSSQLSrc>()) {
    ui_->setupUi(this);
    OfferPreview(*ui_->MSSQLSrcTables, OwnedTable);
    UseControls(ControlsOf(*ui_));
    connect(ui_->MSSQLDBCombo, &QComboBox::activated, this, [this] { ListTables(); });
    connect(ui_->ShowTables, &QCheckBox::clicked, this, [this] { ListAgain(); });
    connect(ui_->ShowViews, &QCheckBox::clicked, this, [this] { ListAgain(); });
    ConnectButtons(
        {ui_->NXT, ui_->BCK, ui_->HLP, ui_->CNCL},
        [this] { Next(); },
        [] {
            // Unloaded and not hidden: who goes back to the choice of kinds gives up this login and
            // its lists.
            UnloadPage("MSSQLSrc");
            ShowPage("Form1");
        },
        "Cancel",
        "Are you sure you want to Cancel this Session?");
}

MSSQLSrc::~MSSQLSrc() = default;

NameQuery MSSQLSrc::DatabaseQuery() const {
    return {.connection = {}, .cursor_type = adOpenStatic, .lock_type = adLockOptimistic};
}

void MSSQLSrc::ReleaseConnection() {
    SrcConn.reset();
    SrcRS.reset();
}

bool MSSQLSrc::HasLists() const {
    return ui_->MSSQLSrcTables->count() > 0;
}

void MSSQLSrc::ClearLists() {
    ui_->MSSQLSrcTables->clear();
}

void MSSQLSrc::AfterMethod() {
    if (HasLists()) {
        ListTables();
    }
}

void MSSQLSrc::ListAgain() {
    if (ui_->MSSQLDBCombo->count() > 0) {
        ListTables();
    }
}

void MSSQLSrc::ListTables() {
    // There is no proven string to list with: boxes that are ticked before the connect stay quiet.
    if (PageConnected == kFalse) {
        return;
    }
    ClearLists();
    ReleaseConnection();
    const BusyPointer busy(*this);
    const std::string statement =
        SqlServerTables(ui_->ShowTables->isChecked(), ui_->ShowViews->isChecked());
    try {
        // Without a statement the connection is tried all the same, and tells first.
        const auto names =
            ReadInBackground({WithDatabase(SourceConnStr, Database()), statement, {0, 2}});
        if (statement.empty()) {
            TellStop("Please Check Tables or Views to populate list");
            return;
        }
        ShowSorted(*ui_->MSSQLSrcTables, names);
        if (names.empty()) {
            CurrentDialogs().Show({"No tables found in the selected Database",
                                   "Information",
                                   BoxIcon::Information,
                                   BoxButtons::Ok,
                                   {}});
        }
    } catch (const DataError& error) {
        TellLines({"Unable to Connect", error.Description()}, "Error");
        PageConnected = kFalse;
        ShowFailure();
        return;
    }
    ShowStatus(*ui_->Label2, "Connected Successfully");
}

void MSSQLSrc::Next() {
    if (Failed()) {
        Tell("Please Connect to MS SQL Server first");
        return;
    }
    const auto chosen = ChosenEntries(*ui_->MSSQLSrcTables);
    if (chosen.empty()) {
        TellStop("Please select atleast one table", "Stop");
        return;
    }
    TakeOwnedTables(chosen);
    SourceQueryMode = 0;
    MSSQLSrcDB = Database();
    SourceConnStr = WithDatabase(SourceConnStr, MSSQLSrcDB);
    HidePage("MSSQLSrc");
    // From SQL Server to SQL Server nothing is shown: the frame's note leads back to this page.
    const SourceKind& own = KindOf(TargetType).source;
    if (own.page != "MSSQLSrc" || own.leads_to_own_kind) {
        ShowPage(TargetPageOf(TargetType));
    }
}

}  // namespace vantry
