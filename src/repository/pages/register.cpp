#include "repository/pages/register.h"

#include "repository/pages/form13.h"
#include "shell/page_set.h"

namespace vantry {

void RegisterRepositoryPages() {
    RegisterPage("Form13", [] { return std::make_unique<Form13>(); });
}

}  // namespace vantry
