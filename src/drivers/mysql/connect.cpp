// How a password stays with its owner. MySQL's servers have two kinds of logging in. In the older
// ones (and MariaDB's) the server sends a challenge and gets an answer that is worth nothing to
// anybody else. In the newer ones (caching_sha2_password, sha256_password) it may ask for the
// password itself: in the clear inside of TLS or on a local socket, or else encrypted with a key
// that it sends along, so that a false server simply sends its own. The client library goes along
// with both, whichever server it is. So the first try allows challenges only; when the server asks
// for more, a second one is made on which no other can read along.
//
// Easy to get wrong: the library goes on in the clear with a server that offers no TLS unless the
// certificate is to be verified, and it takes a key from the server when it can't read the pinned
// one.

#include "data/answer_watch.h"
#include "drivers/mysql/errors.h"
#include "drivers/mysql/login.h"

#include <errmsg.h>
#include <openssl/pem.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace vantry::mysql {
namespace {

constexpr unsigned long kMaxPacket = 1UL << 30;  // bytes; the protocol's own limit for a row
// A statement of a hundred rows goes out in one piece: in two, the server wakes up for the first
// only to wait for the other, each time.
constexpr unsigned long kSendBuffer = 64UL << 10;
constexpr const char* kChallengesOnly = "mysql_native_password,client_ed25519,auth_gssapi_client";
// All but those in which the password goes out as it is, without TLS too.
constexpr const char* kWithPassword =
    "mysql_native_password,client_ed25519,auth_gssapi_client,caching_sha2_password,"
    "sha256_password";

// One way of logging in.
struct Way {
    bool tls = false;
    bool verified = false;  // by the server's certificate, or its fingerprint where one is pinned
    bool by_socket = false;
    bool may_send_password = false;
    bool with_server_key = false;
};

UniqueHandle NewHandle(const Login& login, const Way& way, unsigned timeout_s) {
    UniqueHandle handle(mysql_init(nullptr));
    if (!handle) {
        throw DataError(kErrUnspecified, "There is no memory left for a connection.", "MySQL");
    }
    const auto set = [&](mysql_option option, const void* value) {
        mysql_optionsv(handle.get(), option, value);
    };
    const auto set_text = [&](mysql_option option, const std::string& text) {
        if (!text.empty()) {
            set(option, text.c_str());
        }
    };
    const unsigned off = 0;
    const my_bool yes = 1;
    set(MYSQL_OPT_CONNECT_TIMEOUT, &timeout_s);
    set(MYSQL_OPT_LOCAL_INFILE, &off);  // a server may ask for any file of this machine otherwise
    set(MYSQL_SET_CHARSET_NAME, "utf8mb4");
    set(MYSQL_OPT_MAX_ALLOWED_PACKET, &kMaxPacket);
    set(MYSQL_OPT_NET_BUFFER_LENGTH, &kSendBuffer);
    set(MARIADB_OPT_RESTRICTED_AUTH, way.may_send_password ? kWithPassword : kChallengesOnly);
    // What a server of the newer kind says first would be refused before it could ask for less.
    set(MYSQL_DEFAULT_AUTH, "mysql_native_password");
    if (way.with_server_key) {
        set_text(MYSQL_SERVER_PUBLIC_KEY, login.server_key);
    }
    if (way.tls) {
        set(MYSQL_OPT_SSL_ENFORCE, &yes);
        set_text(MYSQL_OPT_SSL_CA, login.tls_ca);
        set_text(MYSQL_OPT_SSL_CERT, login.tls_certificate);
        set_text(MYSQL_OPT_SSL_KEY, login.tls_key);
    }
    if (way.verified && login.tls_fingerprint.empty()) {
        set(MYSQL_OPT_SSL_VERIFY_SERVER_CERT, &yes);
    } else if (way.verified) {
        set_text(MARIADB_OPT_TLS_PEER_FP, login.tls_fingerprint);
    }
    mysql_optionsv(handle.get(), MYSQL_OPT_CONNECT_ATTR_ADD, "program_name", "Vantry");
    return handle;
}

const char* OrNull(const std::string& text) {
    return text.empty() ? nullptr : text.c_str();
}

// Whether the server asked for a way of logging in that wasn't allowed. (The library names a wrong
// one in its text.)
bool IsRefusedWay(MYSQL* handle) {
    return mysql_errno(handle) == CR_PLUGIN_NOT_ALLOWED;
}

bool IsTlsFailure(MYSQL* handle) {
    return mysql_errno(handle) == CR_SSL_CONNECTION_ERROR;
}

// With any other content the library would ask the server for its key.
void RequireKey(const std::string& file) {
    const std::unique_ptr<FILE, int (*)(FILE*)> opened(std::fopen(file.c_str(), "re"),
                                                       &std::fclose);
    const std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> key(
        opened ? PEM_read_PUBKEY(opened.get(), nullptr, nullptr, nullptr) : nullptr,
        &EVP_PKEY_free);
    if (!key || EVP_PKEY_get_base_id(key.get()) != EVP_PKEY_RSA) {
        throw BadServerKey(file);
    }
}

// The tries of one login, which share its time.
class Connector {
public:
    explicit Connector(const Login& login) : login_(login) {}

    // Null if there is no server and the socket was only a guess.
    UniqueHandle BySocket();
    UniqueHandle ByPort();
    // Why the last try failed.
    DataError Failure(MYSQL* handle) const;

private:
    using Clock = std::chrono::steady_clock;

    // A handle that is connected, or has the error why it isn't.
    UniqueHandle Try(const Way& way);
    UniqueHandle SendPassword();

    const Login& login_;
    Clock::time_point begin_ = Clock::now();
    WaitEnd ended_ = WaitEnd::None;
};

UniqueHandle Connector::Try(const Way& way) {
    const auto passed = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin_);
    const auto left =
        std::max<std::int64_t>(static_cast<std::int64_t>(login_.timeout_s) - passed.count(), 1);
    auto handle = NewHandle(login_, way, static_cast<unsigned>(left));
    const unsigned protocol = MYSQL_PROTOCOL_TCP;
    if (!way.by_socket) {
        mysql_optionsv(handle.get(), MYSQL_OPT_PROTOCOL, &protocol);
    }
    // A moment longer than the library's own limit, whose words are the better ones.
    const LoginWatch watch(std::chrono::seconds(left + 1), login_.despite_cancel);
    mysql_real_connect(handle.get(),
                       way.by_socket ? "localhost" : login_.host.c_str(),
                       login_.user.c_str(),
                       login_.password.c_str(),
                       OrNull(login_.database),
                       way.by_socket ? 0 : login_.port,
                       way.by_socket ? OrNull(login_.socket) : nullptr,
                       login_.count_matched_rows ? CLIENT_FOUND_ROWS : 0);
    ended_ = watch.Ended();
    return handle;
}

DataError Connector::Failure(MYSQL* handle) const {
    switch (ended_) {
        case WaitEnd::TooLong:
            return LoginTooLong(std::chrono::seconds(login_.timeout_s));
        case WaitEnd::Cancelled:
            return CancelledLogin();
        case WaitEnd::None:
            break;
    }
    return ServerError(handle);
}

UniqueHandle Connector::BySocket() {
    const bool tls = login_.tls == Tls::Always || login_.tls == Tls::Verified;
    auto handle = Try({.tls = tls,
                       .verified = login_.tls == Tls::Verified,
                       .by_socket = true,
                       .may_send_password = true});
    if (login_.try_default_socket && mysql_errno(handle.get()) == CR_CONNECTION_ERROR) {
        return nullptr;
    }
    return handle;
}

UniqueHandle Connector::ByPort() {
    if (login_.tls == Tls::Verified) {
        return Try({.tls = true, .verified = true, .may_send_password = true});
    }
    Way way{.tls = login_.tls != Tls::Never, .may_send_password = login_.password.empty()};
    auto handle = Try(way);
    if (login_.tls == Tls::IfOffered && IsTlsFailure(handle.get()) && ended_ == WaitEnd::None) {
        way.tls = false;  // an old server, whose versions of TLS are no longer spoken
        handle = Try(way);
    }
    return IsRefusedWay(handle.get()) ? SendPassword() : std::move(handle);
}

UniqueHandle Connector::SendPassword() {
    std::string why = "the connection string has TLS switched off";
    if (login_.tls != Tls::Never) {
        auto handle = Try({.tls = true, .verified = true, .may_send_password = true});
        if (!IsTlsFailure(handle.get())) {
            return handle;
        }
        why = ServerError(handle.get()).Description();
    }
    if (login_.server_key.empty() || login_.tls == Tls::Always) {
        throw PasswordNotProtected(why);
    }
    RequireKey(login_.server_key);
    // Not inside of TLS: there the library sends the password as it is.
    return Try({.may_send_password = true, .with_server_key = true});
}

// The library goes on in the clear with a server that has no TLS, also when it was told to insist.
void RequireTlsIfAsked(const Login& login, MYSQL* handle) {
    const bool asked = login.tls == Tls::Always || login.tls == Tls::Verified;
    if (asked && mysql_get_ssl_cipher(handle) == nullptr) {
        throw NoTls();
    }
}

bool IsAutocommit(MYSQL* handle) {
    unsigned status = 0;
    mariadb_get_infov(handle, MARIADB_CONNECTION_SERVER_STATUS, &status);
    return (status & SERVER_STATUS_AUTOCOMMIT) != 0;
}

// Each statement must be kept by the server when it returns, whatever the server's own start value.
void RequireAutocommit(MYSQL* handle) {
    if (!IsAutocommit(handle) && mysql_autocommit(handle, 1) != 0) {
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

// A server may have let us in and be silent then.
void SetUp(const Login& login, MYSQL* handle) {
    AnswerWatch watch(std::chrono::seconds(login.answer_timeout_s));
    if (!IsAutocommit(handle) || !login.first_statement.empty()) {
        watch.Watch({static_cast<int>(mysql_get_socket(handle))});
    }
    const AnswerWatch::Wait wait(watch);
    try {
        RequireAutocommit(handle);
        RunFirstStatement(handle, login.first_statement);
    } catch (const DataError&) {
        if (watch.Ended() != AnswerWatch::End::None) {
            throw NoAnswer(watch.Limit());
        }
        throw;
    }
}

}  // namespace

UniqueHandle OpenHandle(const Login& login) {
    UniqueHandle handle;
    Connector connector(login);
    if (!login.socket.empty() || login.try_default_socket) {
        handle = connector.BySocket();
    }
    if (!handle) {
        handle = connector.ByPort();
    }
    if (mysql_errno(handle.get()) != 0) {
        throw connector.Failure(handle.get());
    }
    NoticeDeadNetwork(static_cast<int>(mysql_get_socket(handle.get())));
    RequireTlsIfAsked(login, handle.get());
    SetUp(login, handle.get());
    return handle;
}

}  // namespace vantry::mysql
