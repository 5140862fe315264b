#pragma once
// ODBCSrc: any ODBC data source. Next makes it a source of the kind that its driver speaks for.

#include "shell/page.h"

#include <memory>

namespace Ui {
class ODBCSrc;
}

namespace vantry {

class ODBCSrc : public Page {
    Q_OBJECT
public:
    ODBCSrc();
    ~ODBCSrc() override;

    void OnLoad() override;
    void OnActivate() override {}  // stands where it was put

private:
    // The data sources of the selected driver.
    void ListDsns();
    void Connect();
    void Next();

    std::unique_ptr<Ui::ODBCSrc> ui_;
};

}  // namespace vantry
