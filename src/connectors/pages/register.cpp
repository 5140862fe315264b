#include "connectors/pages/register.h"

#include "connectors/pages/form2.h"
#include "connectors/pages/form8.h"
#include "shell/page_set.h"

namespace vantry {

void RegisterConnectorPages() {
    RegisterPage("Form2", [] { return std::make_unique<Form2>(); });
    RegisterPage("Form8", [] { return std::make_unique<Form8>(); });
}

}  // namespace vantry
