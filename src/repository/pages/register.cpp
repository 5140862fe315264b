#include "repository/pages/register.h"

#include "repository/pages/form13.h"
#include "repository/pages/form15.h"
#include "repository/pages/ses_edit.h"
#include "repository/pages/show_log.h"
#include "repository/pages/upkeep.h"
#include "shell/page_set.h"

namespace vantry {

void RegisterRepositoryPages() {
    RegisterPage("Form13", [] { return std::make_unique<Form13>(); });
    RegisterPage("Form15", [] { return std::make_unique<Form15>(); });
    RegisterPage("SesEdit", [] { return std::make_unique<SesEdit>(); });
    RegisterPage("ShowLog", [] { return std::make_unique<ShowLog>(); });
    RegisterPage("BackupRepo", [] { return std::make_unique<BackupRepo>(); });
    RegisterPage("RestoreRepo", [] { return std::make_unique<RestoreRepo>(); });
    RegisterPage("CheckSch", [] { return std::make_unique<CheckSch>(); });
}

}  // namespace vantry
