#include "shell/page_set.h"
#include "wizard/form1.h"
#include "wizard/nav_form.h"
#include "wizard/wizard_flow.h"

namespace vantry {

void RegisterWizardPages() {
    RegisterPage("NavForm", [] { return std::make_unique<NavForm>(); });
    RegisterPage("Form1", [] { return std::make_unique<Form1>(); });
}

}  // namespace vantry
