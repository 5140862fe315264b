#pragma once
// How the Access pages connect: by which option, with which fields, in which string.

#include <string>

namespace vantry {

enum class AccessMethod { Jet, OdbcDriver, Dsn, Ace };

struct AccessLogin {
    std::string file;
    std::string user;
    std::string password;
    std::string system_database;
    std::string driver;
    std::string dsn;
};

// Every field is appended, empty ones included; a method that doesn't know a field leaves it out.
std::string AccessConnectionString(AccessMethod method, const AccessLogin& login);

// Creates go by Jet whatever the method.
std::string NewAccessFileString(const std::string& file);

}  // namespace vantry
