#pragma once
// Form6: an Oracle server as source, and which of its tables and views.

#include "connectors/pages/oracle_page.h"

#include <memory>

namespace Ui {
class Form6;
}

namespace vantry {

class Form6 : public OraclePage {
    Q_OBJECT
public:
    Form6();
    ~Form6() override;

protected:
    // Lists the tables as OWNER.NAME.
    void Connect() override;
    bool ReconnectsByMethod() const override;

private:
    void Next();

    std::unique_ptr<Ui::Form6> ui_;
};

}  // namespace vantry
