#pragma once
// Form13: names the session, chooses its log file and schedule, saves it, and says what comes next.

#include "shell/page.h"

#include <memory>

namespace Ui {
class Form13;
}

namespace vantry {

class Form13 : public Page {
    Q_OBJECT
public:
    Form13();
    ~Form13() override;

    void OnLoad() override;
    bool QueryUnload() override;

private:
    void ShowNextId();
    void Browse();
    void Next();
    bool Save();

    std::unique_ptr<Ui::Form13> ui_;
};

}  // namespace vantry
