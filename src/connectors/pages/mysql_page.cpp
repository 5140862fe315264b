#include "connectors/pages/mysql_page.h"

#include "shell/dialogs.h"
#include "shell/qt_text.h"

namespace vantry {

void MySqlPage::UseControls(const Controls& controls) {
    c_ = controls;
    PrepareNameCombo(*c_.MySQLDBCombo);
    for (auto* const field : {c_.SrvTBox, c_.PortTBox, c_.UserTBox, c_.PassTbox}) {
        WatchField(*field);
        field->setToolTip(kSemicolonInBraces);
    }
    c_.MySQLDBCombo->setToolTip(kSemicolonInBraces);
    const auto choose = [this](bool by_driver) {
        c_.MySQLODBCDriverList->setEnabled(by_driver);
        c_.MySQLDSNList->setEnabled(!by_driver);
        // What is listed was asked by the other method, perhaps of another server.
        ClearLists();
        Connect();
    };
    connect(c_.Option1, &QRadioButton::clicked, this, [=] { choose(true); });
    connect(c_.Option2, &QRadioButton::clicked, this, [=] { choose(false); });
    connect(c_.ConnButt, &PlateButton::Click, this, [this] { Connect(); });
    ConnectsByEnter(*c_.ConnButt);
}

void MySqlPage::OnLoad() {
    ListDriversOf("MYSQL", *c_.MySQLODBCDriverList);
    ListDsnsOf("MYSQL", *c_.MySQLDSNList);
    SelectFirst(*c_.MySQLODBCDriverList);
    SelectFirst(*c_.MySQLDSNList);
    c_.MySQLDSNList->setEnabled(false);
}

MySqlLogin MySqlPage::Login() const {
    return {FromQt(c_.SrvTBox->text()),
            FromQt(c_.PortTBox->text()),
            FromQt(c_.UserTBox->text()),
            FromQt(c_.PassTbox->text()),
            FromQt(c_.MySQLODBCDriverList->currentText()),
            FromQt(c_.MySQLDSNList->currentText())};
}

std::string MySqlPage::Database() const {
    return FromQt(c_.MySQLDBCombo->currentText());
}

bool MySqlPage::HasRequiredFields() const {
    if (c_.SrvTBox->text().isEmpty() || c_.UserTBox->text().isEmpty() ||
        c_.PortTBox->text().isEmpty()) {
        TellStop("Please Enter the required fields and then click connect", "Stop");
        return false;
    }
    return true;
}

void MySqlPage::TellNotConnected(const std::string& description) {
    NotConnected();
    if (c_.MySQLODBCDriverList->count() == 0) {
        TellStop(
            "No MySQL ODBC Drivers found. Please download and install MySQL ODBC Driver and then "
            "try again.\nYou can download the driver from MySQL AB site at "
            "https://dev.mysql.com/downloads/connector/odbc/");
    } else {
        TellLines({"Unable to Connect",
                   description,
                   "If firewall is present please allow Vantry to access MySQL Server"},
                  "Error");
    }
    ShowStatus(*c_.Label2, "Connection Error", kStatusRed);
}

}  // namespace vantry
