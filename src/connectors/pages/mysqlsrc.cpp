// Connect proves the login and lists databases; a click on one lists its tables, with the string
// that the session keeps. A data source names its database, so its tables come at once.
// Easy to get wrong: only a pick from the list is a click. A name that is typed lists no tables.
#include "connectors/pages/mysqlsrc.h"

#include "ui_MySQLSrc.h"

#include "check/pages/preview_window.h"
#include "core/session_state.h"
#include "data/data_error.h"
#include "shell/dialogs.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "wizard/wizard_flow.h"

namespace vantry {

MySQLSrc::MySQLSrc() : MySqlPage("MySQLSrc"), ui_(std::make_unique<Ui::MySQLSrc>()) {
    ui_->setupUi(this);
    OfferPreview(*ui_->MySQLSrcTables, [this](const std::string& entry) {
        auto table = NamedTable(entry);
        // As Next sets it: the preview names a table as the run will.
        table.Owner = Database();
        return table;
    });
    UseControls(ControlsOf(*ui_));
    connect(ui_->MySQLODBCDriverList, &QComboBox::activated, this, [this] { ResetMySQLPage(); });
    connect(ui_->MySQLDBCombo, &QComboBox::activated, this, [this] { ListTables(); });
    ConnectButtons(
        {ui_->NXT, ui_->BCK, ui_->HLP, ui_->CNCL},
        [this] { Next(); },
        [] {
            UnloadPage("MySQLSrc");
            ShowPage("Form1");
        },
        "Cancel",
        "Are you sure you want to Cancel this Session?");
}

MySQLSrc::~MySQLSrc() = default;

void MySQLSrc::ClearLists() {
    ClearNames(*ui_->MySQLDBCombo);
    ui_->MySQLSrcTables->clear();
}

// Another driver may find another server: what is listed belongs to the former one.
void MySQLSrc::ResetMySQLPage() {
    ClearLists();
    ShowStatus(*ui_->Label2, "Please Click Connect");
}

void MySQLSrc::Connect() {
    // By data source, too, where the server's name isn't used.
    if (!HasRequiredFields()) {
        return;
    }
    SrcConn.reset();
    SrcRS.reset();
    try {
        const BusyPointer busy(*this);
        if (ByDriver()) {
            SourceConnStr = MySqlSourceServer(Login());
            const auto names = ReadInBackground({SourceConnStr, kMySqlSourceDatabases});
            ClearLists();
            AddNames(*ui_->MySQLDBCombo, names);
        } else if (!ListDsnTables()) {
            return;
        }
    } catch (const DataError& error) {
        TellNotConnected(error.Description());
        return;
    }
    ShowStatus(*ui_->Label2, kMySqlConnected, kStatusGreen);
    Connected();
}

bool MySQLSrc::ListDsnTables() {
    if (ui_->MySQLDSNList->count() == 0) {
        Tell("No MySQL DSN Found. You can create DSN from Control Panel");
        ui_->Label2->clear();
        return false;
    }
    SourceConnStr = MySqlDsn(Login());
    const auto names = ReadInBackground({SourceConnStr, kMySqlDsnTables});
    ClearLists();
    ShowTables(names);
    return true;
}

void MySQLSrc::ListTables() {
    ui_->MySQLSrcTables->clear();
    SrcConn.reset();
    SrcRS.reset();
    if (!ByDriver()) {
        return;
    }
    // From here on the string names the database: the one of Connect stands on the server's
    // catalogue.
    SourceConnStr = MySqlSourceDatabase(Login(), Database());
    try {
        const BusyPointer busy(*this);
        ShowTables(ReadInBackground({SourceConnStr, kMySqlTables}));
    } catch (const DataError& error) {
        TellLines({"Unable to show list of tables", error.Description()}, "Error");
        ShowStatus(*ui_->Label2, "Connection Error", kStatusRed);
        NotConnected();
        return;
    }
    ShowStatus(*ui_->Label2, kMySqlConnected);
    Connected();
}

void MySQLSrc::ShowTables(const std::vector<std::string>& names) {
    ShowSorted(*ui_->MySQLSrcTables, names);
    if (names.empty()) {
        CurrentDialogs().Show({"No tables found in the selected Database",
                               "Information",
                               BoxIcon::Information,
                               BoxButtons::Ok,
                               {}});
    }
}

// The status isn't asked: what is listed can be copied.
void MySQLSrc::Next() {
    const auto chosen = ChosenEntries(*ui_->MySQLSrcTables);
    if (chosen.empty()) {
        TellStop("Please select atleast one table", "Stop");
        return;
    }
    const std::string database = Database();
    SrcTables.assign(chosen.size(), {});
    for (std::size_t i = 0; i < chosen.size(); ++i) {
        SrcTables[i].Name = chosen[i];
        // By data source it is empty, and the table is named alone.
        SrcTables[i].Owner = database;
    }
    SourceQueryMode = 0;
    MySQLSrcDB = database;
    HidePage("MySQLSrc");
    ShowPage(TargetPageOf(TargetType));
}

}  // namespace vantry
