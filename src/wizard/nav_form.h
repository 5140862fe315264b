#pragma once
// NavForm: the navigator, where every session begins and ends.

#include "shell/page.h"

#include <memory>

namespace Ui {
class NavForm;
}

namespace vantry {

class NavForm : public Page {
    Q_OBJECT
public:
    NavForm();
    ~NavForm() override;

private:
    void Next();

    std::unique_ptr<Ui::NavForm> ui_;
};

}  // namespace vantry
