#include "connectors/pages/mssqldest.h"

#include "ui_MSSQLDest.h"

#include "shell/dialogs.h"
#include "shell/page_set.h"
#include "wizard/wizard_flow.h"

namespace vantry {

MSSQLDest::MSSQLDest()
    : SqlServerPage("MSSQLDest",
                    TargetConnStr,
                    "If you are connecting to SQL Server Express Edition then Please Check the SQL "
                    "Express Edition Check Box and click Connect Button again"),
      ui_(std::make_unique<Ui::MSSQLDest>()) {
    ui_->setupUi(this);
    UseControls(ControlsOf(*ui_));
    ConnectButtons(
        {ui_->NXT, ui_->BCK, ui_->HLP, ui_->CNCL},
        [this] { Next(); },
        [] {
            HidePage("MSSQLDest");
            BackToSourcePage();
        },
        "Cancel",
        "Are you sure you want to Cancel this Session?");
}

MSSQLDest::~MSSQLDest() = default;

NameQuery MSSQLDest::DatabaseQuery() const {
    return {.connection = {}, .cursor_type = adOpenForwardOnly, .lock_type = adLockReadOnly};
}

void MSSQLDest::ReleaseConnection() {
    // What an earlier run of the session left open could belong to another server.
    DstConn.reset();
    DstRS.reset();
}

bool MSSQLDest::HasLists() const {
    return ui_->MSSQLDBCombo->count() > 0;
}

// Only a failure stops here. A page that never connected goes on, and without a chosen database the
// server takes the login's own.
void MSSQLDest::Next() {
    if (Failed()) {
        Tell("Connect to MS SQL Server Destination first");
        return;
    }
    MSSQLDstDB = Database();
    TargetConnStr = WithDatabase(TargetConnStr, MSSQLDstDB);
    HidePage("MSSQLDest");
    ShowPage("Form4");
}

}  // namespace vantry
