#pragma once
// How the Oracle pages connect and what they ask: strings and statements, letter case included, as
// saved sessions hold them.

#include <string>

namespace vantry {

enum class OracleMethod { MicrosoftOleDb, OracleOleDb, OdbcDriver, Dsn };

struct OracleLogin {
    std::string service;
    std::string user;
    std::string password;
    std::string driver;
    std::string dsn;
};

std::string OracleConnectionString(OracleMethod method, const OracleLogin& login);

// Owner and name of each table. `user` in any letter case: the server keeps owners in capitals.
std::string OracleTables(bool views, bool of_all_users, const std::string& user);

inline constexpr const char* kOracleAllTables = "select owner,table_name from all_tables";

}  // namespace vantry
