#pragma once
// From a connection string to an open connection of the client library.

#include "data/connection_string.h"

#include <mysql.h>

#include <memory>
#include <string>

namespace vantry::mysql {

struct HandleCloser {
    void operator()(MYSQL* handle) const { mysql_close(handle); }
};
using UniqueHandle = std::unique_ptr<MYSQL, HandleCloser>;

struct Login {
    std::string host;
    unsigned port = 0;
    std::string socket;
    // A local server without a port of its own: the socket is tried first, then the port.
    bool try_default_socket = false;
    std::string user;
    std::string password;
    std::string database;
    std::string first_statement;
    unsigned timeout_s = 15;  // for the whole login, also when a server accepts and then is silent
    unsigned answer_timeout_s = 600;  // for the first byte of any later answer
    bool count_matched_rows = false;
    bool force_tls = false;
    bool verify_tls = false;
    std::string tls_ca;
    std::string tls_certificate;
    std::string tls_key;

    // Throws DataError when a number can't be one.
    static Login From(const ConnectionString& connection);
};

// Throws DataError in the words of the client library or the server.
UniqueHandle OpenHandle(const Login& login);

}  // namespace vantry::mysql
