#include "drivers/odbc/handles.h"

#include "drivers/odbc/errors.h"

#include <cstdint>

namespace vantry::odbc {

EnvironmentHandle OpenEnvironment() {
    auto environment = EnvironmentHandle::Allocate(nullptr);
    // Without a version the driver manager gives no connection; this one has the states of errors
    // that errors.cpp knows.
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
