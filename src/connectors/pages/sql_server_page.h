#pragma once
// What MSSQLSrc and MSSQLDest have in common: server, user, method, the connect that lists the
// databases, status.

#include "connectors/pages/connector_page.h"
#include "connectors/sql_server_method.h"
#include "core/session_state.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>

namespace vantry {

class SqlServerPage : public ConnectorPage {
    Q_OBJECT
public:
    void OnLoad() override;

protected:
    struct Controls {
        QLineEdit* SrvTBox;
        QRadioButton* Option1;
        QRadioButton* Option2;
        QLineEdit* UserTBox;
        QLineEdit* PassTbox;
        QCheckBox* SQLExpress;
        QRadioButton* ConnOLE;
        QRadioButton* ConnODBC;
        QComboBox* ODBCDrv;
        PlateButton* ConnButt;
        QComboBox* MSSQLDBCombo;
        QLabel* Label2;
    };
    template <class Ui>
    static Controls ControlsOf(const Ui& ui) {
        return {ui.SrvTBox,
                ui.Option1,
                ui.Option2,
                ui.UserTBox,
                ui.PassTbox,
                ui.SQLExpress,
                ui.ConnOLE,
                ui.ConnODBC,
                ui.ODBCDrv,
                ui.ConnButt,
                ui.MSSQLDBCombo,
                ui.Label2};
    }

    // `connection` is the session's string that this page fills; `advice` the last line of the box
    // that tells a failure.
    SqlServerPage(const char* name, std::string& connection, const char* advice);
    // Once, behind setupUi.
    void UseControls(const Controls& controls);

    // How the list of databases is read, and what the session holds open until then.
    virtual NameQuery DatabaseQuery() const = 0;
    virtual void ReleaseConnection() = 0;
    // What is listed of the server: whether there is any of it, and away with it.
    virtual bool HasLists() const = 0;
    virtual void ClearLists() = 0;
    // A change of method has connected.
    virtual void AfterMethod() {}

    std::string Database() const;
    bool Failed() const;  // as the status says
    void ShowFailure();

    Controls c_{};
    i16 PageConnected = kFalse;  // goes with a failure of the listing, not with one of the connect

private:
    void Connect();
    void ChangeUser(bool of_server);
    SqlServerLogin Login() const;

    std::string& connection_;
    const char* advice_;
};

}  // namespace vantry
