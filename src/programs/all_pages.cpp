#include "programs/all_pages.h"

#include "connectors/pages/register.h"
#include "core/folders.h"
#include "core/session_state.h"
#include "data/error_text.h"
#include "engine/pages/form14.h"
#include "mapping/pages/register.h"
#include "repository/pages/create_repository.h"
#include "repository/pages/register.h"
#include "shell/dialogs.h"
#include "shell/help.h"
#include "shell/main_window.h"
#include "shell/page_set.h"
#include "shell/small_windows.h"
#include "text/pages/register.h"
#include "wizard/wizard_flow.h"

#include <QApplication>

namespace vantry {

void RegisterAllPages() {
    RegisterShellPages();
    RegisterWizardPages();
    RegisterConnectorPages();
    RegisterRunPages();
    RegisterMappingPages();
    RegisterTextPages();
    RegisterRepositoryPages();
}

namespace {

void ConnectMenu() {
    MainWindow::Actions actions;
    actions.create_repository = [] { CreateNewRepository(ApplicationFolder()); };
    actions.create_session = [] { CreateNewSession(); };
    actions.show_navigator = [] { ShowNavigator(); };
    TheMainWindow().SetActions(std::move(actions));
}

}  // namespace

void StartWizard(const std::string& application_folder) {
    for (;;) {
        try {
            InitSharedState(application_folder);
            RegisterAllPages();
            ConnectMenu();
            // Once, also after a Retry: two filters would open the help twice.
            if (qApp->findChild<HelpKey*>() == nullptr) {
                new HelpKey("index.html", qApp);  // NOLINT(cppcoreguidelines-owning-memory): qApp's
            }
            ShowPage("frmSplash");
            return;
            // The only question at the start. Retry begins anew: both steps before the splash may
            // be done twice.
        } catch (const std::exception& error) {
            const auto answer = CurrentDialogs().Show(
                {std::string("Vantry Encountered an error\n") + ErrorText(error) +
                     "\nDo you want to retry the operation or Cancel?",
                 "Vantry Ver 2.0",
                 BoxIcon::None,
                 BoxButtons::RetryCancel,
                 {}});
            if (answer != BoxAnswer::Retry) {
                EndProgram();
                return;
            }
        }
    }
}

}  // namespace vantry
