#include "connectors/access_method.h"

namespace vantry {

std::string AccessConnectionString(AccessMethod method, const AccessLogin& login) {
    switch (method) {
        case AccessMethod::Jet:
            return "PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" + login.file +
                   ";Jet OLEDB:Database Password=" + login.password +
                   ";Jet OLEDB:System Database=" + login.system_database;
        case AccessMethod::OdbcDriver:
            return "Driver=" + login.driver + ";DBQ=" + login.file + ";UID=" + login.user +
                   ";PWD=" + login.password + ";SystemDB=" + login.system_database;
        // The file and the system database stand in the data source itself.
        case AccessMethod::Dsn:
            return "DSN=" + login.dsn + ";UID=" + login.user + ";pwd=" + login.password;
        case AccessMethod::Ace:
            break;
    }
    // This provider takes no system database.
    return "Provider=Microsoft.ACE.OLEDB.12.0;Data Source=" + login.file +
           ";Jet OLEDB:Database Password=" + login.password;
}

// The same provider for both endings: which format the file gets goes by its name.
std::string NewAccessFileString(const std::string& file) {
    return "PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" + file;
}

}  // namespace vantry
