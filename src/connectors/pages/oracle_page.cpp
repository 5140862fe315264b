#include "connectors/pages/oracle_page.h"

#include "shell/dialogs.h"
#include "shell/qt_text.h"
#include "wizard/wizard_flow.h"

namespace vantry {

void OraclePage::UseControls(const Controls& controls) {
    c_ = controls;
    PrepareNameCombo(*c_.dsns);
    for (auto* const field : {c_.OrclSvc, c_.OrclUsr, c_.OrclPwd}) {
        WatchField(*field);
        field->setToolTip(kSemicolonByMethod);
    }
    const auto on = [this](QRadioButton* option, bool drivers, bool dsns) {
        connect(option, &QRadioButton::clicked, this, [=, this] {
            c_.ORAODBCDrv->setEnabled(drivers);
            c_.dsns->setEnabled(dsns);
            Reconnect();
        });
    };
    on(c_.Option1, false, false);
    on(c_.Option2, true, false);
    on(c_.Option3, false, false);
    on(c_.Option4, false, true);
    connect(c_.ORAODBCDrv, &QComboBox::activated, this, [this] { Reconnect(); });
    connect(c_.Command1, &PlateButton::Click, this, [this] { Connect(); });
    ConnectsByEnter(*c_.Command1);
}

void OraclePage::OnLoad() {
    ListDriversOf("ORACLE", *c_.ORAODBCDrv);
    SelectFirst(*c_.ORAODBCDrv);
    // Filling the list would replace it.
    const QString proposed = c_.dsns->currentText();
    ListDsnsOf("ORACLE", *c_.dsns);
    SelectFirst(*c_.dsns);
    if (c_.dsns->count() == 0) {
        c_.dsns->setEditText(proposed);  // as the page was designed
    }
    c_.ORAODBCDrv->setEnabled(false);
    c_.dsns->setEnabled(false);
}

void OraclePage::OnActivate() {
    ForceSize(*this, 8250, 6540);
    Page::OnActivate();
}

void OraclePage::Reconnect() {
    if (ReconnectsByMethod()) {
        Connect();
    }
}

bool OraclePage::HasLogin() const {
    // The host string isn't asked for: with a data source it isn't used.
    if (c_.OrclUsr->text().isEmpty()) {
        TellStop("Please enter oracle User Name", "Stop");
        return false;
    }
    if (c_.OrclPwd->text().isEmpty()) {
        TellStop("Please enter Oracle Password", "Stop");
        return false;
    }
    return true;
}

std::string OraclePage::User() const {
    return FromQt(c_.OrclUsr->text());
}

std::string OraclePage::LoginString() const {
    const auto method = c_.Option1->isChecked()   ? OracleMethod::MicrosoftOleDb
                        : c_.Option3->isChecked() ? OracleMethod::OracleOleDb
                        : c_.Option4->isChecked() ? OracleMethod::Dsn
                                                  : OracleMethod::OdbcDriver;
    return OracleConnectionString(method,
                                  {FromQt(c_.OrclSvc->text()),
                                   User(),
                                   FromQt(c_.OrclPwd->text()),
                                   FromQt(c_.ORAODBCDrv->currentText()),
                                   FromQt(c_.dsns->currentText())});
}

void OraclePage::TellNotConnected(const std::string& description) {
    NotConnected();
    TellStop(description +
                 "\r\n\r\nPossible Causes :\r\n"
                 "    1. Check That Username/Password is correct\r\n"
                 "    2. Check that Oracle Net Service name is correct\r\n"
                 "    3. If the above is correct, then check that Oracle Client Software is "
                 "properly installed\r\n"
                 "    4. Try other connections Options",
             "Oracle Connection Error");
}

}  // namespace vantry
