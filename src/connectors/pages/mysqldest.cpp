// By driver the login is proven and the databases are listed. A data source is taken untried: a
// wrong one comes to light when the tables are mapped, whose failure leads back here.
#include "connectors/pages/mysqldest.h"

#include "ui_MySQLDest.h"

#include "core/session_state.h"
#include "data/data_error.h"
#include "shell/dialogs.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "wizard/wizard_flow.h"

namespace vantry {

MySQLDest::MySQLDest() : MySqlPage("MySQLDest"), ui_(std::make_unique<Ui::MySQLDest>()) {
    ui_->setupUi(this);
    UseControls(ControlsOf(*ui_));
    connect(ui_->MySQLODBCDriverList, &QComboBox::activated, this, [this] { Connect(); });
    ConnectButtons(
        {ui_->NXT, ui_->BCK, ui_->HLP, ui_->CNCL},
        [this] { Next(); },
        [] {
            HidePage("MySQLDest");
            BackToSourcePage();
        },
        "Cancel Session",
        "Are you sure you want to cancel this session");
}

MySQLDest::~MySQLDest() = default;

void MySQLDest::Connect() {
    DstConn.reset();
    DstRS.reset();
    if (!ByDriver()) {
        UseDsn();
        return;
    }
    if (!HasRequiredFields()) {
        return;
    }
    TargetConnStr = MySqlTargetServer(Login());
    try {
        const BusyPointer busy(*this);
        const auto names = ReadInBackground({TargetConnStr, kMySqlTargetDatabases});
        ClearNames(*ui_->MySQLDBCombo);
        AddNames(*ui_->MySQLDBCombo, names);
    } catch (const DataError& error) {
        TellNotConnected(error.Description());
        // A name that was typed goes with the list; where nothing was listed it stays for the next
        // try.
        if (ui_->MySQLDBCombo->count() > 0) {
            ClearNames(*ui_->MySQLDBCombo);
        }
        return;
    }
    ShowStatus(*ui_->Label2, kMySqlConnected, kStatusGreen);
    Connected();
}

void MySQLDest::UseDsn() {
    ClearNames(*ui_->MySQLDBCombo);
    if (ui_->MySQLDSNList->count() == 0) {
        Tell("No MySQL DSN found. You can create DSN from windows control panel");
        ShowStatus(*ui_->Label2, "Connection Error", kStatusRed);
        return;
    }
    TargetConnStr = MySqlDsn(Login());
    ShowStatus(*ui_->Label2, kMySqlConnected, kStatusGreen);
    Connected();
}

// The text of the status is what counts. The page stays where it is, beneath the next one.
void MySQLDest::Next() {
    if (ui_->Label2->text() != kMySqlConnected) {
        TellStop("Please connect to the Target MySQL Database first", "Stop");
        return;
    }
    const std::string database = Database();
    if (ByDriver() && database.empty()) {
        TellStop("Please Select a Target Database", "Stop");
        return;
    }
    // Made anew of what the fields hold now, whatever was connected with; so they count as
    // connected once more below.
    TargetConnStr = ByDriver() ? MySqlTargetDatabase(Login(), database) : MySqlDsn(Login());
    MySQLDstDB = database;
    Connected();
    ShowPage("Form4");
}

}  // namespace vantry
