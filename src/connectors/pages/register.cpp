#include "connectors/pages/register.h"

#include "connectors/pages/form10.h"
#include "connectors/pages/form2.h"
#include "connectors/pages/form3.h"
#include "connectors/pages/form6.h"
#include "connectors/pages/form8.h"
#include "connectors/pages/form9.h"
#include "connectors/pages/mssqldest.h"
#include "connectors/pages/mssqlsrc.h"
#include "connectors/pages/mysqldest.h"
#include "connectors/pages/mysqlsrc.h"
#include "connectors/pages/odbcsrc.h"
#include "shell/page_set.h"

namespace vantry {

void RegisterConnectorPages() {
    RegisterPage("Form2", [] { return std::make_unique<Form2>(); });
    RegisterPage("Form8", [] { return std::make_unique<Form8>(); });
    RegisterPage("MySQLSrc", [] { return std::make_unique<MySQLSrc>(); });
    RegisterPage("MySQLDest", [] { return std::make_unique<MySQLDest>(); });
    RegisterPage("MSSQLSrc", [] { return std::make_unique<MSSQLSrc>(); });
    RegisterPage("MSSQLDest", [] { return std::make_unique<MSSQLDest>(); });
    RegisterPage("Form6", [] { return std::make_unique<Form6>(); });
    RegisterPage("Form9", [] { return std::make_unique<Form9>(); });
    RegisterPage("Form10", [] { return std::make_unique<Form10>(); });
    RegisterPage("Form3", [] { return std::make_unique<Form3>(); });
    RegisterPage("ODBCSrc", [] { return std::make_unique<ODBCSrc>(); });
}

}  // namespace vantry
