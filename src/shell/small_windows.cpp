#include "shell/small_windows.h"

#include "ui_frmAbout.h"
#include "ui_frmWait.h"

#include "shell/main_window.h"
#include "shell/page_set.h"
#include "shell/plate_button.h"
#include "shell/splash.h"

#include <QCoreApplication>

namespace vantry {

AboutWindow::AboutWindow()
    : Page("frmAbout", Place::Window), ui_(std::make_unique<Ui::frmAbout>()) {
    ui_->setupUi(this);
    ui_->Version->setText("Version " + QCoreApplication::applicationVersion());
    connect(ui_->OkButton, &PlateButton::Click, this, [] { UnloadPage("frmAbout"); });
    // A window of its own has no Cancel that Escape would press.
    SetEscapeButton(ui_->OkButton);
}

AboutWindow::~AboutWindow() = default;

// Desktops put a window without a parent wherever there is room, a corner included.
void AboutWindow::OnLoad() {
    setParent(FindMainWindow(), Qt::Dialog);
}

WaitPage::WaitPage() : Page("frmWait", Place::Notice), ui_(std::make_unique<Ui::frmWait>()) {
    ui_->setupUi(this);
}

WaitPage::~WaitPage() = default;

void RegisterShellPages() {
    RegisterPage("frmSplash", [] { return std::make_unique<Splash>(); });
    RegisterPage("frmAbout", [] { return std::make_unique<AboutWindow>(); });
    RegisterPage("frmWait", [] { return std::make_unique<WaitPage>(); });
}

}  // namespace vantry
