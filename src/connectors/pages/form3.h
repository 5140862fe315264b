#pragma once
// Form3: a folder of FoxPro tables or a database container as target, proven by opening it.

#include "connectors/pages/foxpro_page.h"

#include <memory>

namespace Ui {
class Form3;
}

namespace vantry {

class Form3 : public FoxProPage {
    Q_OBJECT
public:
    Form3();
    ~Form3() override;

private:
    // Whether the target can be opened; says why if it can't.
    bool IsVFPDestOK(const std::string& connection);
    void Next();

    std::unique_ptr<Ui::Form3> ui_;
};

}  // namespace vantry
