#pragma once
// How the MySQL pages connect and what they ask: strings and statements, letter case included, as
// saved sessions hold them.

#include <string>

namespace vantry {

enum class MySqlMethod { OdbcDriver, Dsn };

struct MySqlLogin {
    std::string server;
    std::string port;
    std::string user;
    std::string password;
    std::string driver;
    std::string dsn;
};

// A source connects to the server's own catalogue first. The string with a database is the one that
// a session keeps; it has no option.
std::string MySqlSourceServer(const MySqlLogin& login);
std::string MySqlSourceDatabase(const MySqlLogin& login, const std::string& database);
// A target connects without a database, as its user may have none yet.
std::string MySqlTargetServer(const MySqlLogin& login);
std::string MySqlTargetDatabase(const MySqlLogin& login, const std::string& database);
// A data source names server, port and database itself.
std::string MySqlDsn(const MySqlLogin& login);

inline constexpr const char* kMySqlSourceDatabases = "Show databases";
inline constexpr const char* kMySqlTargetDatabases = "show databases";
inline constexpr const char* kMySqlTables = "show tables";
inline constexpr const char* kMySqlDsnTables = "Show tables";

}  // namespace vantry
