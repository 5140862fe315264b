#pragma once
// frmAbout and frmWait: windows without logic.

#include "shell/page.h"

#include <memory>

namespace Ui {
class frmAbout;
class frmWait;
}  // namespace Ui

namespace vantry {

class AboutWindow : public Page {
    Q_OBJECT
public:
    AboutWindow();
    ~AboutWindow() override;
    void OnLoad() override;
    void OnActivate() override {}

private:
    std::unique_ptr<Ui::frmAbout> ui_;
};

class WaitPage : public Page {
    Q_OBJECT
public:
    WaitPage();
    ~WaitPage() override;

private:
    std::unique_ptr<Ui::frmWait> ui_;
};

// frmSplash, frmAbout and frmWait.
void RegisterShellPages();

}  // namespace vantry
