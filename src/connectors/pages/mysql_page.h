#pragma once
// What MySQLSrc and MySQLDest have in common: server, login, method, database, status.

#include "connectors/mysql_method.h"
#include "connectors/pages/connector_page.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>

namespace vantry {

// The status of both pages; the target's Next compares it.
inline constexpr const char* kMySqlConnected = "Connected Successfully";

class MySqlPage : public ConnectorPage {
    Q_OBJECT
public:
    void OnLoad() override;

protected:
    struct Controls {
        QLineEdit* SrvTBox;
        QLineEdit* PortTBox;
        QLineEdit* UserTBox;
        QLineEdit* PassTbox;
        QRadioButton* Option1;
        QComboBox* MySQLODBCDriverList;
        QRadioButton* Option2;
        QComboBox* MySQLDSNList;
        QComboBox* MySQLDBCombo;
        PlateButton* ConnButt;
        QLabel* Label2;
    };
    template <class Ui>
    static Controls ControlsOf(const Ui& ui) {
        return {ui.SrvTBox,
                ui.PortTBox,
                ui.UserTBox,
                ui.PassTbox,
                ui.Option1,
                ui.MySQLODBCDriverList,
                ui.Option2,
                ui.MySQLDSNList,
                ui.MySQLDBCombo,
                ui.ConnButt,
                ui.Label2};
    }

    using ConnectorPage::ConnectorPage;
    // Once, behind setupUi.
    void UseControls(const Controls& controls);

    virtual void Connect() = 0;
    // Before a change of method connects.
    virtual void ClearLists() {}

    bool ByDriver() const { return c_.Option1->isChecked(); }
    MySqlLogin Login() const;
    std::string Database() const;
    // False, and told, when server, user or port is missing.
    bool HasRequiredFields() const;
    void TellNotConnected(const std::string& description);

    Controls c_{};
};

}  // namespace vantry
