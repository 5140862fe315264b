// The words of a server reach logs, terminals and boxes, and it may be a false one: its texts are
// cleaned here, and the password is taken out, which some servers repeat. Numbers go by SQLSTATE,
// the first rule that fits. Easy to get wrong: a lost answer (unknown whether the rows are there)
// and a connection that was gone before (they aren't) have different codes.

#include "drivers/mysql/errors.h"

#include "data/answer_watch.h"
#include "data/cancelled.h"
#include "data/connection_string.h"
#include "data/message_text.h"

#include <errmsg.h>
#include <mysqld_error.h>

#include <optional>
#include <string_view>
#include <utility>

namespace vantry::mysql {
namespace {

constexpr const char* kSource = "MySQL";

int NumberFor(std::string_view state) {
    struct Rule {
        std::string_view prefix;
        int number;
    };
    // The first that fits.
    static constexpr Rule kRules[] = {
        {"42S02", kErrNoSuchTable},
        {"42S22", kErrMissingParameter},
        {"42", kErrSyntax},
        {"21", kErrSyntax},
        {"23", kErrConstraint},
        {"22001", kErrFieldTooSmall},
        {"22", kErrConversion},
    };
    for (const auto& rule : kRules) {
        if (state.substr(0, rule.prefix.size()) == rule.prefix) {
            return rule.number;
        }
    }
    return kErrUnspecified;
}

// The answer to what was sent is missing. A connection that was gone before (CR_SERVER_GONE_ERROR)
// has not taken the whole statement.
bool IsAnswerLost(unsigned code) {
    return code == CR_SERVER_LOST || code == CR_SERVER_LOST_EXTENDED ||
           code == CR_MALFORMED_PACKET || code == CR_UNKNOWN_ERROR || code == CR_ERR_NET_READ;
}

DataError FromServer(const char* state, unsigned code, const char* text, const MYSQL* handle) {
    std::string description = CleanWords(text, handle);
    if (description.empty()) {
        description =
            "The MySQL server reported error " + std::to_string(code) + " without a text.";
    }
    const bool stopped = code == ER_QUERY_INTERRUPTED && WaitsAreCancelled();
    DataError error(stopped ? kErrCancelled : NumberFor(state), std::move(description), kSource);
    if (IsAnswerLost(code)) {
        error.SetArrivedRows(std::nullopt);
    }
    return error;
}

}  // namespace

std::string CleanWords(const char* text, const MYSQL* handle) {
    std::string words = OnOneLine(text);
    // The client library keeps it as long as the connection lives.
    if (handle->passwd != nullptr && *handle->passwd != '\0') {
        words = MaskSecret(words, handle->passwd);
    }
    return words;
}

DataError ServerError(MYSQL* handle) {
    return FromServer(mysql_sqlstate(handle), mysql_errno(handle), mysql_error(handle), handle);
}

// A prepared statement has an error, a state and a text of its own.
DataError StatementError(MYSQL_STMT* statement, MYSQL* handle) {
    return FromServer(mysql_stmt_sqlstate(statement),
                      mysql_stmt_errno(statement),
                      mysql_stmt_error(statement),
                      handle);
}

DataError BadConnectionKey(const std::string& key, const std::string& value) {
    return {kErrUnspecified,
            "The connection string says " + key + "=" + value +
                ", which isn't a number that can stand there: correct it on the connector's page.",
            kSource};
}

DataError BadTlsMode(const std::string& mode) {
    return {kErrUnspecified,
            "The connection string says SSLMODE=" + mode +
                ": it can be DISABLED, PREFERRED, REQUIRED, VERIFY_CA or VERIFY_IDENTITY.",
            kSource};
}

DataError BadServerKey(const std::string& file) {
    return {kErrUnspecified,
            "The file " + Quoted(file) +
                " of the key RSAKEY holds no public key (RSA, in PEM form) that can be read: copy "
                "the server's public_key.pem there.",
            kSource};
}

DataError PasswordNotProtected(const std::string& why) {
    return {kErrUnspecified,
            "The server asks for the password itself (caching_sha2_password, sha256_password), and "
            "nothing shows that it is the right server: " +
                why +
                ". The password was not sent. Add to the connection string SSLCA=<file with the "
                "certificate of the server's authority>, or TLSPEERFP=<SHA-1 fingerprint of the "
                "server's certificate>, or RSAKEY=<file with the server's public key>; on the "
                "server's own machine, connect through its socket.",
            kSource};
}

DataError NoAnswer(std::chrono::seconds limit) {
    DataError error(kErrUnspecified,
                    "The server has not answered within " + std::to_string(limit.count()) +
                        " seconds, and the connection was closed. If it needs longer, add "
                        "ANSWER_TIMEOUT=<seconds> to the connection string.",
                    kSource);
    error.SetArrivedRows(std::nullopt);
    return error;
}

DataError LoginTooLong(std::chrono::seconds limit) {
    return {kErrUnspecified,
            "The server let nobody in within " + std::to_string(limit.count()) +
                " seconds, and the connection was closed. If it needs longer, add "
                "CONN_TIMEOUT=<seconds> to the connection string.",
            kSource};
}

DataError CancelledWait() {
    DataError error(kErrUnspecified,
                    "The server did not answer after the cancel, and the connection was closed.",
                    kSource);
    error.SetArrivedRows(std::nullopt);
    return error;
}

DataError CancelledLogin() {
    return {kErrCancelled, CancelledWait().Description(), kSource};
}

DataError NothingAdded() {
    return {
        kErrUnspecified,
        "The server took the statement and says that it has added no row. Look at the table, and "
        "at what stands between this program and the server.",
        kSource};
}

DataError ValuesChanged(const std::string& warnings, std::int64_t rows) {
    DataError error(kErrConversion,
                    "The rows were taken, but the server has changed values: " + warnings,
                    kSource);
    error.SetArrivedRows(rows);
    return error;
}

DataError RemarksNotListed(std::int64_t rows) {
    DataError error(kErrUnspecified,
                    "The rows were taken. The server has warnings about them and doesn't list them "
                    "(its max_error_count may be 0, or a proxy may answer for it): whether it has "
                    "changed values can't be known. Compare them.",
                    kSource);
    error.SetArrivedRows(rows);
    return error;
}

DataError NoTls() {
    return {
        kErrUnspecified,
        "The server offers no encrypted connection (TLS), and the connection string asks for one "
        "(SSLMODE, FORCETLS, SSLVERIFY, SSLCA, TLSPEERFP): set the server up for TLS or take these "
        "keys away.",
        kSource};
}

DataError WrongParameterCount(std::size_t wanted, std::size_t given) {
    return {kErrMissingParameter,
            "The statement has " + std::to_string(wanted) + " parameters and was given " +
                std::to_string(given) + ".",
            kSource};
}

// In the server's words, though it never saw the statement: it would close the connection over it,
// and all that had been sent before with it.
DataError StatementTooLong(std::size_t bytes, std::uint64_t most) {
    return {kErrUnspecified,
            "Got a packet bigger than 'max_allowed_packet' bytes: the statement has " +
                std::to_string(bytes) + " bytes, and the server takes " + std::to_string(most) +
                ". Raise max_allowed_packet on the server.",
            kSource};
}

DataError NotATableColumn(const std::string& column) {
    return {kErrInvalidArgument,
            "Rows can't be added: " + column +
                " isn't a column of one table. Select plain columns of a single table.",
            kSource};
}

DataError NoColumns() {
    return {kErrInvalidArgument,
            "Rows can't be added: the statement isn't a SELECT with columns.",
            kSource};
}

DataError NotARowStatement() {
    return {kErrInvalidArgument, "The statement gives no rows to read.", kSource};
}

}  // namespace vantry::mysql
