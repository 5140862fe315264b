#include "connectors/mysql_method.h"

namespace vantry {
namespace {

// The driver's name stands in braces, as with no other kind: sessions are stored that way.
std::string Head(const MySqlLogin& login) {
    return "DRIVER={" + login.driver + "};SERVER=" + login.server;
}

std::string Tail(const MySqlLogin& login) {
    return ";USER=" + login.user + ";PASSWORD=" + login.password + ";port=" + login.port;
}

}  // namespace

std::string MySqlSourceServer(const MySqlLogin& login) {
    return Head(login) + ";DATABASE=information_schema" + Tail(login) + ";Option=3";
}

std::string MySqlSourceDatabase(const MySqlLogin& login, const std::string& database) {
    return Head(login) + ";DATABASE=" + database + Tail(login);
}

std::string MySqlTargetServer(const MySqlLogin& login) {
    return Head(login) + Tail(login) + ";Option=3";
}

std::string MySqlTargetDatabase(const MySqlLogin& login, const std::string& database) {
    return MySqlSourceDatabase(login, database) + ";Option=3";
}

std::string MySqlDsn(const MySqlLogin& login) {
    return "DSN=" + login.dsn + ";UID=" + login.user + ";PWD=" + login.password;
}

}  // namespace vantry
