// The connect keeps the string without a database; "master" is appended for the connect alone, the
// chosen database on Next.
// Easy to get wrong: what is cleared when. A second connect lists every database once more, a
// failed one empties the lists, and a change of user or method connects by itself.
#include "connectors/pages/sql_server_page.h"

#include "data/data_error.h"
#include "shell/dialogs.h"
#include "shell/qt_text.h"

namespace vantry {
namespace {

constexpr const char* kConnectionError = "Connection Error";

}  // namespace

SqlServerPage::SqlServerPage(const char* name, std::string& connection, const char* advice)
    : ConnectorPage(name), connection_(connection), advice_(advice) {}

void SqlServerPage::UseControls(const Controls& controls) {
    c_ = controls;
    PrepareNameCombo(*c_.MSSQLDBCombo);
    for (auto* const field : {c_.SrvTBox, c_.UserTBox, c_.PassTbox}) {
        WatchField(*field);
        field->setToolTip(kSemicolonByMethod);
    }
    c_.MSSQLDBCombo->setToolTip(kSemicolonByMethod);
    WatchField(*c_.SQLExpress);
    connect(c_.Option1, &QRadioButton::clicked, this, [this] { ChangeUser(false); });
    connect(c_.Option2, &QRadioButton::clicked, this, [this] { ChangeUser(true); });
    connect(c_.ConnOLE, &QRadioButton::clicked, this, [this] {
        c_.ODBCDrv->setEnabled(false);
        Connect();
        AfterMethod();
    });
    connect(c_.ConnODBC, &QRadioButton::clicked, this, [this] {
        c_.ODBCDrv->setEnabled(true);
        // Before Connect, which writes the chosen driver into the string.
        SelectFirst(*c_.ODBCDrv);
        Connect();
        AfterMethod();
    });
    connect(c_.ConnButt, &PlateButton::Click, this, [this] { Connect(); });
    ConnectsByEnter(*c_.ConnButt);
}

void SqlServerPage::OnLoad() {
    ListDriversOf("SQL SERVER", *c_.ODBCDrv);
    c_.ODBCDrv->setEnabled(false);
    c_.UserTBox->setEnabled(false);
    c_.PassTbox->setEnabled(false);
}

// What one user may see another may not: lists of the former one go before the new one is asked
// for.
void SqlServerPage::ChangeUser(bool of_server) {
    c_.UserTBox->setEnabled(of_server);
    c_.PassTbox->setEnabled(of_server);
    if (HasLists()) {
        ClearNames(*c_.MSSQLDBCombo);
        ClearLists();
        c_.Label2->clear();
        Connect();
    }
}

SqlServerLogin SqlServerPage::Login() const {
    return {FromQt(c_.SrvTBox->text()),
            c_.SQLExpress->isChecked(),
            FromQt(c_.UserTBox->text()),
            FromQt(c_.PassTbox->text()),
            FromQt(c_.ODBCDrv->currentText())};
}

void SqlServerPage::Connect() {
    ReleaseConnection();
    const BusyPointer busy(*this);
    const SqlServerLogin login = Login();
    const bool windows = c_.Option1->isChecked();
    if (!windows && (login.user.empty() || login.password.empty())) {
        TellStop("Please Enter the required fields and then click connect", "Stop");
        return;
    }
    connection_ = SqlServerConnectionString(
        windows ? SqlServerUser::Windows : SqlServerUser::OfServer,
        c_.ConnOLE->isChecked() ? SqlServerMethod::OleDb : SqlServerMethod::OdbcDriver,
        login);
    NameQuery query = DatabaseQuery();
    // Every login may read the list of databases there; its own default database may be gone.
    query.connection = WithDatabase(connection_, "master");
    query.statement = kSqlServerDatabases;
    try {
        AddNames(*c_.MSSQLDBCombo, ReadInBackground(query));
    } catch (const DataError& error) {
        TellLines({"Unable to Connect", error.Description(), advice_}, "Error");
        ShowFailure();
        if (c_.MSSQLDBCombo->count() > 0) {
            ClearNames(*c_.MSSQLDBCombo);
            ClearLists();
        }
        return;
    }
    ShowStatus(*c_.Label2, "Connected Successfully");
    PageConnected = kTrue;
    Connected();
}

std::string SqlServerPage::Database() const {
    return FromQt(c_.MSSQLDBCombo->currentText());
}

bool SqlServerPage::Failed() const {
    return c_.Label2->text() == kConnectionError;
}

void SqlServerPage::ShowFailure() {
    NotConnected();
    ShowStatus(*c_.Label2, kConnectionError, kStatusRed);
}

}  // namespace vantry
