#pragma once
// Form14: the run page, the wizard's last. It starts the run and shows it.

#include "engine/pages/run_display.h"
#include "shell/page.h"

#include <memory>

namespace Ui {
class Form14;
}

namespace vantry {

class Form14 : public Page {
    Q_OBJECT
public:
    Form14();
    ~Form14() override;

    void OnLoad() override;
    bool QueryUnload() override;

private:
    void Start();
    void Cancel();

    std::unique_ptr<Ui::Form14> ui_;
    std::unique_ptr<RunDisplay> display_;
    bool running_ = false;
    bool leave_after_run_ = false;  // the window was closed in the middle
};

// Form14.
void RegisterRunPages();

}  // namespace vantry
