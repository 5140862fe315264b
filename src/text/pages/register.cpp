#include "text/pages/register.h"

#include "shell/page_set.h"
#include "text/pages/form11.h"
#include "text/pages/form11poll.h"
#include "text/pages/form12c.h"

namespace vantry {

void RegisterTextPages() {
    RegisterPage("Form11", [] { return std::make_unique<Form11>(); });
    RegisterPage("Form11Poll", [] { return std::make_unique<Form11Poll>(); });
    RegisterPage("Form12c", [] { return std::make_unique<Form12c>(); });
}

}  // namespace vantry
