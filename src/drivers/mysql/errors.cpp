#include "drivers/mysql/errors.h"

#include <string_view>

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

DataError FromServer(const char* state, unsigned code, const char* text) {
    std::string description = text;
    if (description.empty()) {
        description =
            "The MySQL server reported error " + std::to_string(code) + " without a text.";
    }
    return {NumberFor(state), std::move(description), kSource};
}

}  // namespace

DataError ServerError(MYSQL* handle) {
    return FromServer(mysql_sqlstate(handle), mysql_errno(handle), mysql_error(handle));
}

DataError StatementError(MYSQL_STMT* statement) {
    return FromServer(
        mysql_stmt_sqlstate(statement), mysql_stmt_errno(statement), mysql_stmt_error(statement));
}

DataError BadConnectionKey(const std::string& key, const std::string& value) {
    return {kErrUnspecified,
            "The connection string says " + key + "=" + value +
                ", which isn't a number that can stand there: correct it on the connector's page.",
            kSource};
}

DataError NoTls() {
    return {
        kErrUnspecified,
        "The server offers no encrypted connection (TLS), and the connection string asks for one "
        "(FORCETLS, SSLVERIFY, SSLCA): set the server up for TLS or take these keys away.",
        kSource};
}

DataError WrongParameterCount(std::size_t wanted, std::size_t given) {
    return {kErrMissingParameter,
            "The statement has " + std::to_string(wanted) + " parameters and was given " +
                std::to_string(given) + ".",
            kSource};
}

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
