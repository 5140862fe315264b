#include "connectors/pages/empty_page.h"
#include "connectors/pages/form1.h"
#include "connectors/pages/form2.h"
#include "connectors/pages/form8.h"
#include "connectors/pages/nav_form.h"
#include "connectors/pages/wizard_flow.h"
#include "shell/page_set.h"

namespace vantry {

void RegisterConnectorPages() {
    RegisterEmptyPages();
    RegisterPage("NavForm", [] { return std::make_unique<NavForm>(); });
    RegisterPage("Form1", [] { return std::make_unique<Form1>(); });
    RegisterPage("Form2", [] { return std::make_unique<Form2>(); });
    RegisterPage("Form8", [] { return std::make_unique<Form8>(); });
}

}  // namespace vantry
