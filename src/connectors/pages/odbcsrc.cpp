// Nothing leads here but a source type that no option offers any more; sessions made with it are
// still edited and run. Back, Help, Cancel and New were never given anything to do.
#include "connectors/pages/odbcsrc.h"

#include "ui_ODBCSrc.h"

#include "check/pages/preview_window.h"
#include "connectors/odbc_method.h"
#include "connectors/pages/connector_page.h"
#include "core/session_state.h"
#include "data/data_error.h"
#include "shell/dialogs.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "wizard/wizard_flow.h"

namespace vantry {

ODBCSrc::ODBCSrc() : Page("ODBCSrc"), ui_(std::make_unique<Ui::ODBCSrc>()) {
    ui_->setupUi(this);
    OfferPreview(*ui_->ODBCTabs, NamedTable);
    // First, as the status line names the place by it; the driver isn't part of the string.
    WatchField(*ui_->ODBCDSn);
    for (auto* const field : {ui_->Usr, ui_->Pwd}) {
        WatchField(*field);
        field->setToolTip(kSemicolonInQuotes);
    }
    connect(ui_->ODBCDrv, &QComboBox::activated, this, [this] { ListDsns(); });
    connect(ui_->ConnectButton, &PlateButton::Click, this, [this] { Connect(); });
    ConnectsByEnter(*ui_->ConnectButton);
    connect(ui_->NXT, &PlateButton::Click, this, [this] { Next(); });
}

ODBCSrc::~ODBCSrc() = default;

void ODBCSrc::OnLoad() {
    for (const auto& driver : OdbcDrivers) {
        ui_->ODBCDrv->addItem(ToQt(driver));
    }
    SelectFirst(*ui_->ODBCDrv);
    ListDsns();
}

void ODBCSrc::ListDsns() {
    ui_->ODBCDSn->clear();
    const QString driver = ui_->ODBCDrv->currentText();
    for (const auto& dsn : OdbcDsns) {
        // Contained and not equal: without a driver in the list every data source is offered.
        if (ToQt(dsn.DsnDriver).contains(driver, Qt::CaseInsensitive)) {
            ui_->ODBCDSn->addItem(ToQt(dsn.DsnName));
        }
    }
    ui_->ODBCDSn->setCurrentIndex(-1);
}

void ODBCSrc::Connect() {
    ui_->ODBCTabs->clear();
    SourceConnStr = OdbcSourceString(
        FromQt(ui_->ODBCDSn->currentText()), FromQt(ui_->Usr->text()), FromQt(ui_->Pwd->text()));
    try {
        const BusyPointer busy(*this);
        std::vector<std::string> names;
        for (const auto& table : ReadCatalogInBackground(SourceConnStr)) {
            if (table.Type == "TABLE") {
                names.push_back(table.Name);
            }
        }
        ShowNames(*ui_->ODBCTabs, names);
        Connected();
    } catch (const DataError& error) {
        NotConnected();
        Tell(error.Description());
    }
}

void ODBCSrc::Next() {
    const auto chosen = ChosenEntries(*ui_->ODBCTabs);
    if (chosen.empty()) {
        TellStop("Please select atleast one table", "Stop");
        return;
    }
    SrcTables.assign(chosen.size(), {});
    for (std::size_t i = 0; i < chosen.size(); ++i) {
        SrcTables[i].Name = chosen[i];
    }
    SourceQueryMode = 0;
    // A known kind brings its types and quotes along; the flag below still leads Back to this page.
    if (const auto kind = KindOfDriver(FromQt(ui_->ODBCDrv->currentText())); !kind.empty()) {
        SourceType = kind;
    }
    SourceViaOdbc = kTrue;
    HidePage("ODBCSrc");
    ShowPage(TargetPageOf(TargetType));
}

}  // namespace vantry
