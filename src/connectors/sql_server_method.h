#pragma once
// How the SQL Server pages connect and what they ask: strings and statements, letter case included,
// as saved sessions hold them.

#include <string>

namespace vantry {

enum class SqlServerUser { Windows, OfServer };
enum class SqlServerMethod { OleDb, OdbcDriver };

struct SqlServerLogin {
    std::string server;
    bool express = false;  // the instance that the free edition installs
    std::string user;
    std::string password;
    std::string driver;
};

// Without a database. Windows users leave user and password out.
std::string SqlServerConnectionString(SqlServerUser user,
                                      SqlServerMethod method,
                                      const SqlServerLogin& login);
// Appended even where there is a database already: the last one counts.
std::string WithDatabase(const std::string& connection, const std::string& database);

inline constexpr const char* kSqlServerDatabases = "SELECT name From sysdatabases";
// Owner and name are the first and third field. Empty when neither is wanted.
std::string SqlServerTables(bool tables, bool views);

}  // namespace vantry
