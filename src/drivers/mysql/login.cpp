#include "drivers/mysql/login.h"

#include "data/answer_watch.h"
#include "drivers/mysql/errors.h"

#include <errmsg.h>

#include <charconv>

namespace vantry::mysql {
namespace {

constexpr unsigned kDefaultPort = 3306;
constexpr unsigned long kMaxPacket = 1UL << 30;  // bytes; the protocol's own limit for a row
constexpr unsigned kOptionMatchedRows = 2;
// All ways to log in but those in which whoever answers at the server's address gets the password
// itself by asking for it.
constexpr const char* kLoginPlugins =
    "mysql_native_password,client_ed25519,caching_sha2_password,sha256_password,"
    "auth_gssapi_client";

unsigned NumberOf(const ConnectionString& connection,
                  const std::string& key,
                  unsigned fallback,
                  unsigned minimum,
                  unsigned maximum) {
    const auto& text = connection.Get(key);
    if (text.empty()) {
        return fallback;
    }
    unsigned number = 0;
    const auto* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end || number < minimum || number > maximum) {
        throw BadConnectionKey(key, text);
    }
    return number;
}

bool IsOn(const std::string& value) {
    return value == "1" || EqualsNoCase(value, "yes") || EqualsNoCase(value, "true");
}

// A time limit in seconds; 0 stands for the usual one, never for none.
unsigned TimeLimitOf(const ConnectionString& connection, const std::string& key, unsigned usual) {
    constexpr unsigned kOneDay = 86'400;
    const unsigned seconds = NumberOf(connection, key, usual, 0, kOneDay);
    return seconds == 0 ? usual : seconds;
}

UniqueHandle NewHandle(const Login& login) {
    UniqueHandle handle(mysql_init(nullptr));
    if (!handle) {
        throw DataError(kErrUnspecified, "There is no memory left for a connection.", "MySQL");
    }
    const auto set = [&](mysql_option option, const void* value) {
        mysql_optionsv(handle.get(), option, value);
    };
    const unsigned off = 0;
    const my_bool yes = 1;
    set(MYSQL_OPT_CONNECT_TIMEOUT, &login.timeout_s);
    set(MYSQL_OPT_LOCAL_INFILE, &off);  // a server may ask for any file of this machine otherwise
    set(MARIADB_OPT_RESTRICTED_AUTH, kLoginPlugins);
    set(MYSQL_SET_CHARSET_NAME, "utf8mb4");
    set(MYSQL_OPT_MAX_ALLOWED_PACKET, &kMaxPacket);
    if (login.force_tls) {
        set(MYSQL_OPT_SSL_ENFORCE, &yes);
    }
    if (login.verify_tls) {
        set(MYSQL_OPT_SSL_VERIFY_SERVER_CERT, &yes);
    }
    const auto set_path = [&](mysql_option option, const std::string& path) {
        if (!path.empty()) {
            set(option, path.c_str());
        }
    };
    set_path(MYSQL_OPT_SSL_CA, login.tls_ca);
    set_path(MYSQL_OPT_SSL_CERT, login.tls_certificate);
    set_path(MYSQL_OPT_SSL_KEY, login.tls_key);
    mysql_optionsv(handle.get(), MYSQL_OPT_CONNECT_ATTR_ADD, "program_name", "Vantry");
    return handle;
}

const char* OrNull(const std::string& text) {
    return text.empty() ? nullptr : text.c_str();
}

// Nothing if nobody listens there; all other failures are thrown.
UniqueHandle TrySocket(const Login& login) {
    auto handle = NewHandle(login);
    if (mysql_real_connect(handle.get(),
                           "localhost",
                           login.user.c_str(),
                           login.password.c_str(),
                           OrNull(login.database),
                           0,
                           OrNull(login.socket),
                           login.count_matched_rows ? CLIENT_FOUND_ROWS : 0) != nullptr) {
        return handle;
    }
    if (login.try_default_socket && mysql_errno(handle.get()) == CR_CONNECTION_ERROR) {
        return nullptr;
    }
    throw ServerError(handle.get());
}

UniqueHandle ConnectByPort(const Login& login) {
    auto handle = NewHandle(login);
    const unsigned protocol = MYSQL_PROTOCOL_TCP;
    mysql_optionsv(handle.get(), MYSQL_OPT_PROTOCOL, &protocol);
    if (mysql_real_connect(handle.get(),
                           login.host.c_str(),
                           login.user.c_str(),
                           login.password.c_str(),
                           OrNull(login.database),
                           login.port,
                           nullptr,
                           login.count_matched_rows ? CLIENT_FOUND_ROWS : 0) == nullptr) {
        throw ServerError(handle.get());
    }
    NoticeDeadNetwork(static_cast<int>(mysql_get_socket(handle.get())));
    return handle;
}

// The library goes on in the clear with a server that has no TLS, also when it was told to insist.
void RequireTlsIfAsked(const Login& login, MYSQL* handle) {
    const bool asked = login.force_tls || login.verify_tls || !login.tls_ca.empty();
    if (asked && mysql_get_ssl_cipher(handle) == nullptr) {
        throw NoTls();
    }
}

// Each statement must be kept by the server when it returns, whatever the server's own start value.
void RequireAutocommit(MYSQL* handle) {
    unsigned status = 0;
    mariadb_get_infov(handle, MARIADB_CONNECTION_SERVER_STATUS, &status);
    if ((status & SERVER_STATUS_AUTOCOMMIT) == 0 && mysql_autocommit(handle, 1) != 0) {
        throw ServerError(handle);
    }
}

void RunFirstStatement(MYSQL* handle, const std::string& sql) {
    if (sql.empty()) {
        return;
    }
    if (mysql_real_query(handle, sql.data(), sql.size()) != 0) {
        throw ServerError(handle);
    }
    mysql_free_result(mysql_store_result(handle));
}

}  // namespace

Login Login::From(const ConnectionString& connection) {
    Login login;
    login.host = connection.GetAny({"SERVER", "SERVERNAME", "HOST"});
    login.port = NumberOf(connection, "PORT", kDefaultPort, 1, 65535);
    login.socket = connection.Get("SOCKET");
    const bool local = login.host.empty() || login.host == "." ||
                       EqualsNoCase(login.host, "(local)") || EqualsNoCase(login.host, "localhost");
    if (local) {
        // The client library would take the socket of the machine's own server and pass a port over
        // in silence; who names another port means the server there.
        login.host = "127.0.0.1";
        login.try_default_socket = login.socket.empty() && login.port == kDefaultPort;
    }
    login.user = connection.GetAny({"USER", "UID"});
    login.password = connection.GetAny({"PASSWORD", "PWD"});
    login.database = connection.GetAny({"DATABASE", "DB"});
    login.first_statement = connection.Get("INITSTMT");
    login.timeout_s = TimeLimitOf(connection, "CONN_TIMEOUT", login.timeout_s);
    login.answer_timeout_s = TimeLimitOf(connection, "ANSWER_TIMEOUT", login.answer_timeout_s);
    const auto option = NumberOf(connection, "OPTION", 0, 0, UINT32_MAX);
    login.count_matched_rows = (option & kOptionMatchedRows) != 0;
    login.force_tls = IsOn(connection.Get("FORCETLS"));
    login.verify_tls = IsOn(connection.Get("SSLVERIFY"));
    login.tls_ca = connection.Get("SSLCA");
    login.tls_certificate = connection.Get("SSLCERT");
    login.tls_key = connection.Get("SSLKEY");
    return login;
}

UniqueHandle OpenHandle(const Login& login) {
    UniqueHandle handle;
    if (!login.socket.empty() || login.try_default_socket) {
        handle = TrySocket(login);
    }
    if (!handle) {
        handle = ConnectByPort(login);
    }
    RequireTlsIfAsked(login, handle.get());
    RequireAutocommit(handle.get());
    RunFirstStatement(handle.get(), login.first_statement);
    return handle;
}

}  // namespace vantry::mysql
