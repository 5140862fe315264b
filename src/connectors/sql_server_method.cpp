#include "connectors/sql_server_method.h"

namespace vantry {

std::string SqlServerConnectionString(SqlServerUser user,
                                      SqlServerMethod method,
                                      const SqlServerLogin& login) {
    const bool ole = method == SqlServerMethod::OleDb;
    const std::string server =
        ";Server=" + login.server + (login.express ? "\\SQLExpress" : std::string());
    if (user == SqlServerUser::Windows) {
        return ole ? "Provider=SQLOLEDB.1" + server + ";Trusted_Connection=Yes"
                   : "driver=" + login.driver + server + ";Trusted_Connection=yes";
    }
    return (ole ? "Provider=SQLOLEDB.1" : "Driver=" + login.driver) + server +
           ";uid=" + login.user + ";pwd=" + login.password;
}

std::string WithDatabase(const std::string& connection, const std::string& database) {
    return connection + ";Database=" + database;
}

std::string SqlServerTables(bool tables, bool views) {
    // An empty list of types would be no SQL; the page says what is missing.
    if (!tables && !views) {
        return {};
    }
    const char* const types = !views ? "'U'" : !tables ? "'V'" : "'U','V'";
    return std::string(
               "select u.name,o.uid,o.name,o.type from sysobjects o,sysusers u where o.type in (") +
           types + ") and o.uid=u.uid and upper(u.name) <> 'INFORMATION_SCHEMA'";
}

}  // namespace vantry
