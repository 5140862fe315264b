#include "drivers/mysql/login.h"

#include "drivers/mysql/errors.h"

#include <charconv>
#include <cstdint>
#include <string_view>

namespace vantry::mysql {
namespace {

constexpr unsigned kDefaultPort = 3306;
constexpr unsigned kOptionMatchedRows = 2;
constexpr unsigned kOneDay = 86'400;  // seconds

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
    const unsigned seconds = NumberOf(connection, key, usual, 0, kOneDay);
    return seconds == 0 ? usual : seconds;
}

// By the words of MySQL's own tools, and by the older keys where that one is missing.
Tls TlsOf(const ConnectionString& connection) {
    const auto& mode = connection.GetAny({"SSLMODE", "SSL-MODE"});
    static constexpr struct {
        std::string_view word;
        Tls tls;
    } kModes[] = {{"DISABLED", Tls::Never},
                  {"PREFERRED", Tls::IfOffered},
                  {"REQUIRED", Tls::Always},
                  {"VERIFY_CA", Tls::Verified},
                  {"VERIFY_IDENTITY", Tls::Verified}};
    for (const auto& known : kModes) {
        if (EqualsNoCase(mode, known.word)) {
            return known.tls;
        }
    }
    if (!mode.empty()) {
        throw BadTlsMode(mode);
    }
    // Who names an authority or a fingerprint wants the server's certificate checked by it.
    if (IsOn(connection.Get("SSLVERIFY")) || !connection.Get("SSLCA").empty() ||
        !connection.Get("TLSPEERFP").empty()) {
        return Tls::Verified;
    }
    return IsOn(connection.Get("FORCETLS")) ? Tls::Always : Tls::IfOffered;
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
    login.tls = TlsOf(connection);
    login.tls_ca = connection.Get("SSLCA");
    login.tls_certificate = connection.Get("SSLCERT");
    login.tls_key = connection.Get("SSLKEY");
    login.tls_fingerprint = connection.Get("TLSPEERFP");
    login.server_key = connection.Get("RSAKEY");
    return login;
}

}  // namespace vantry::mysql
