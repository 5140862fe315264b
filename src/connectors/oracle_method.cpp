#include "connectors/oracle_method.h"

#include "data/letter_case.h"

namespace vantry {

std::string OracleConnectionString(OracleMethod method, const OracleLogin& login) {
    const std::string user = ";User ID=" + login.user + ";Password=" + login.password + ";";
    switch (method) {
        case OracleMethod::MicrosoftOleDb:
            return "Provider=MSDAORA;Data Source=" + login.service + user;
        case OracleMethod::OracleOleDb:
            return "Provider=OraOLEDB.Oracle;Data Source=" + login.service + user;
        case OracleMethod::Dsn:
            return "DSN=" + login.dsn + user;
        case OracleMethod::OdbcDriver:
            break;
    }
    return "DRIVER=" + login.driver + ";SERVER=" + login.service + user;
}

std::string OracleTables(bool views, bool of_all_users, const std::string& user) {
    const std::string own =
        // The server's catalogue keeps names of users in capitals, however they were typed at the
        // login.
        of_all_users ? std::string() : " where owner='" + UpperCased(user) + "'";
    const std::string tables = kOracleAllTables + own;
    return views ? tables + " union select owner,view_name from all_views" + own : tables;
}

}  // namespace vantry
