#pragma once
// What Form6 and Form9 have in common: user, password, host string, method.

#include "connectors/oracle_method.h"
#include "connectors/pages/connector_page.h"

#include <QComboBox>
#include <QLineEdit>
#include <QRadioButton>

namespace vantry {

class OraclePage : public ConnectorPage {
    Q_OBJECT
public:
    void OnLoad() override;
    void OnActivate() override;

protected:
    struct Controls {
        QLineEdit* OrclUsr;
        QLineEdit* OrclPwd;
        QLineEdit* OrclSvc;
        QRadioButton* Option1;
        QRadioButton* Option3;
        QRadioButton* Option2;
        QComboBox* ORAODBCDrv;
        QRadioButton* Option4;
        QComboBox* dsns;  // OraDSN or OrclDSN
        PlateButton* Command1;
    };
    template <class Ui>
    static Controls ControlsOf(const Ui& ui, QComboBox* dsns) {
        return {ui.OrclUsr,
                ui.OrclPwd,
                ui.OrclSvc,
                ui.Option1,
                ui.Option3,
                ui.Option2,
                ui.ORAODBCDrv,
                ui.Option4,
                dsns,
                ui.Command1};
    }

    using ConnectorPage::ConnectorPage;
    // Once, behind setupUi.
    void UseControls(const Controls& controls);

    virtual void Connect() = 0;
    // Whether a change of method connects anew.
    virtual bool ReconnectsByMethod() const = 0;
    void Reconnect();

    // False, and told, without a user or a password.
    bool HasLogin() const;
    std::string User() const;
    std::string LoginString() const;
    void TellNotConnected(const std::string& description);

    Controls c_{};
};

}  // namespace vantry
