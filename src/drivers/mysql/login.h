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

// What the connection has of encryption (TLS).
enum class Tls {
    Never,
    IfOffered,  // by the server; its certificate is looked at where the password depends on it
    Always,     // whatever server is at the other end
    Verified,   // and the server's certificate is good, for its name too
};

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
    bool despite_cancel = false;  // a login that serves a cancel, which doesn't end it
    Tls tls = Tls::IfOffered;
    std::string tls_ca;
    std::string tls_certificate;
    std::string tls_key;
    std::string tls_fingerprint;  // of the server's certificate, which then needs no other proof
    std::string server_key;       // file of the server's public key, for passwords outside of TLS

    // Throws DataError when a value can't be one.
    static Login From(const ConnectionString& connection);
};

// The password leaves this machine as the answer to a challenge, or by a road on which only
// the server can read it: the local socket, verified TLS, the server's public key from a file.
// Throws DataError in the words of the client library or the server, or saying what to set where a
// server wants the password itself and there is no such road.
UniqueHandle OpenHandle(const Login& login);

}  // namespace vantry::mysql
