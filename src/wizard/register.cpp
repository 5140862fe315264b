#include "shell/page_set.h"
#include "wizard/empty_page.h"
#include "wizard/form1.h"
#include "wizard/nav_form.h"
#include "wizard/wizard_flow.h"

namespace vantry {

void RegisterWizardPages() {
    RegisterEmptyPages();
    RegisterPage("NavForm", [] { return std::make_unique<NavForm>(); });
    RegisterPage("Form1", [] { return std::make_unique<Form1>(); });
}

}  // namespace vantry
