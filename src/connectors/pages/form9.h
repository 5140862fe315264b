#pragma once
// Form9: an Oracle server as target, proven by a connection.

#include "connectors/pages/oracle_page.h"
#include "core/session_state.h"

#include <memory>

namespace Ui {
class Form9;
}

namespace vantry {

class Form9 : public OraclePage {
    Q_OBJECT
public:
    Form9();
    ~Form9() override;

protected:
    void Connect() override;
    bool ReconnectsByMethod() const override;

private:
    void Next();

    std::unique_ptr<Ui::Form9> ui_;
    i16 PageConnected = kFalse;  // from the first try on, whether it succeeded or not
};

}  // namespace vantry
