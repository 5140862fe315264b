#include "mapping/pages/register.h"

#include "mapping/pages/form4.h"
#include "mapping/pages/form5.h"
#include "mapping/pages/maperrform.h"
#include "shell/page_set.h"

namespace vantry {

void RegisterMappingPages() {
    RegisterPage("Form4", [] { return std::make_unique<Form4>(); });
    RegisterPage("Form5", [] { return std::make_unique<Form5>(); });
    RegisterPage("MapErrForm", [] { return std::make_unique<MapErrForm>(); });
}

}  // namespace vantry
