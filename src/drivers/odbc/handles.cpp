#include "drivers/odbc/handles.h"

#include "drivers/odbc/errors.h"

#include <cstdint>

namespace vantry::odbc {

EnvironmentHandle OpenEnvironment() {
    auto environment = EnvironmentHandle::Allocate(nullptr);
    if (!environment ||
        !SQL_SUCCEEDED(SQLSetEnvAttr(environment.Get(),
                                     SQL_ATTR_ODBC_VERSION,
                                     reinterpret_cast<SQLPOINTER>(std::uintptr_t{SQL_OV_ODBC3}),
                                     0))) {
        throw NoDriverManager();
    }
    return environment;
}

}  // namespace vantry::odbc
