// Drivers spread what went wrong over several diagnostic records, in their own order and with
// remarks between them; one library gives one state for everything. All that a user may read comes
// from here: cleaned of what would steer a terminal, each cause once. Easy to get wrong: a record
// can be longer than the buffer, the last one of FreeTDS says nothing, and states "01..." are no
// errors.

#include "drivers/odbc/errors.h"

#include "data/cancelled.h"
#include "data/connection_string.h"
#include "data/message_text.h"
#include "drivers/odbc/handles.h"
#include "drivers/odbc/text_form.h"

#include <algorithm>
#include <array>
#include <span>

namespace vantry::odbc {
namespace {

constexpr const char* kSource = "ODBC";
constexpr std::size_t kMostRecords = 32;  // a driver that never ends its records
constexpr std::size_t kMostTextUnits = 32'000;

std::string_view WithoutLineEnd(std::string_view text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) {
        text.remove_suffix(1);
    }
    return text;
}

// Texts of a driver without wide calls are kept by the driver manager as units of a byte each.
// Asked for them as bytes it would put them through the locale that the program had when it
// connected: UTF-8 would come out as UTF-8 of UTF-8.
std::string TextOfBytes(std::span<const SQLWCHAR> units) {
    std::string bytes;
    for (const auto unit : units) {
        if (unit > 0xFF) {
            return TextOfUnits(units.data(), units.size());
        }
        bytes += static_cast<char>(unit);
    }
    return TextOfUnits(reinterpret_cast<const SQLCHAR*>(bytes.data()), bytes.size());
}

// False when there is no such record.
bool ReadRecord(
    short kind, SQLHANDLE handle, SQLSMALLINT number, bool wide, DiagnosticRecord& record) {
    std::array<SQLWCHAR, 6> state{};
    std::vector<SQLWCHAR> text(1024);
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    const auto read = [&] {
        return SQLGetDiagRecW(kind,
                              handle,
                              number,
                              state.data(),
                              &native,
                              text.data(),
                              static_cast<SQLSMALLINT>(text.size()),
                              &length);
    };
    if (!SQL_SUCCEEDED(read())) {
        return false;
    }
    // Read again at its full length, as far as that is believed.
    if (length >= static_cast<SQLSMALLINT>(text.size())) {
        text.assign(std::min(static_cast<std::size_t>(length) + 1, kMostTextUnits), 0);
        read();
    }
    text.back() = 0;
    const auto units =
        static_cast<std::size_t>(std::find(text.begin(), text.end(), SQLWCHAR{0}) - text.begin());
    const auto told =
        wide ? TextOfUnits(text.data(), units) : TextOfBytes(std::span(text).first(units));
    record.text = OnOneLine(WithoutLineEnd(told));
    record.state = TextOfUnits(state.data(), 5);
    record.native = native;
    return true;
}

// The first that fits a state.
struct StateRule {
    std::string_view prefix;
    int number;
};
// States of ODBC 2 among them: some drivers still give them.
constexpr StateRule kStateRules[] = {
    {"42S02", kErrNoSuchTable},
    {"S0002", kErrNoSuchTable},
    {"42S22", kErrMissingParameter},
    {"S0022", kErrMissingParameter},
    {"42", kErrSyntax},
    {"37", kErrSyntax},
    {"23", kErrConstraint},
    {"22", kErrConversion},
    {"HYC00", kErrConversion},
};

// The SQLite driver has one state for everything; its native codes and words say what it was.
struct WordRule {
    int native;
    std::string_view word;
    int number;
};
constexpr WordRule kWordRules[] = {
    {1, "no such table", kErrNoSuchTable},
    {1, "no such column", kErrMissingParameter},
    {1, "has no column named", kErrMissingParameter},
    {1, "syntax error", kErrSyntax},
    {1, "unrecognized token", kErrSyntax},
    {1, "incomplete input", kErrSyntax},
    {19, "", kErrConstraint},
};

int NumberFor(const DiagnosticRecord& record) {
    for (const auto& rule : kStateRules) {
        if (std::string_view(record.state).starts_with(rule.prefix)) {
            return rule.number;
        }
    }
    if (record.text.find("[SQLite]") != std::string::npos) {
        for (const auto& rule : kWordRules) {
            if (record.native == rule.native && ContainsNoCase(record.text, rule.word)) {
                return rule.number;
            }
        }
    }
    return kErrUnspecified;
}

bool IsRemark(const DiagnosticRecord& record) {
    return record.state.starts_with("01");
}

// The states of a broken connection, of one that PostgreSQL's server ends (it may have committed
// before), and of a time limit. MariaDB's driver says it by its code
// alone; FreeTDS gives what its library noticed (no answer in time, a failed read or write, the end
// of what the server sends) the state of a remark.
bool IsAnswerLost(const DiagnosticRecord& record) {
    constexpr int kServerLost = 2013;
    constexpr std::array kFreeTdsLost = {20003, 20004, 20006, 20017};
    const bool noticed =
        std::find(kFreeTdsLost.begin(), kFreeTdsLost.end(), record.native) != kFreeTdsLost.end() &&
        record.text.starts_with("[FreeTDS]");
    return record.state.starts_with("08") || record.state.starts_with("HYT") ||
           record.state.starts_with("57P") || record.native == kServerLost || noticed;
}

DataError WithoutWords(const std::string& source) {
    return {kErrUnspecified, "The driver of " + source + " failed and gave no reason.", source};
}

// Remarks may come before it.
const DiagnosticRecord& FirstError(const std::vector<DiagnosticRecord>& records) {
    const auto error = std::find_if_not(records.begin(), records.end(), IsRemark);
    return error != records.end() ? *error : records.front();
}

std::vector<DiagnosticRecord> ReadRecords(short handle_kind,
                                          void* handle,
                                          bool wide,
                                          std::size_t most) {
    std::vector<DiagnosticRecord> records;
    DiagnosticRecord record;
    for (SQLSMALLINT number = 1; records.size() < most; ++number) {
        if (!ReadRecord(handle_kind, handle, number, wide, record)) {
            break;
        }
        records.push_back(record);
    }
    return records;
}

}  // namespace

std::vector<DiagnosticRecord> ReadDiagnostics(short handle_kind, void* handle, bool wide) {
    return ReadRecords(handle_kind, handle, wide, kMostRecords);
}

std::vector<DiagnosticRecord> ReadBlockDiagnostics(void* statement, bool wide, std::size_t rows) {
    auto records = ReadRecords(SQL_HANDLE_STMT, statement, wide, kMostRecords + 4 * rows);
    for (std::size_t k = 0; k < records.size(); ++k) {
        SQLLEN row = 0;
        const auto number = static_cast<SQLSMALLINT>(k + 1);
        const auto read = SQLGetDiagField(
            SQL_HANDLE_STMT, statement, number, SQL_DIAG_ROW_NUMBER, &row, 0, nullptr);
        // FreeTDS writes but four bytes of it.
        records[k].row = SQL_SUCCEEDED(read) && row > 0 ? static_cast<std::size_t>(row) : 0;
    }
    return records;
}

bool IsAnswerLost(const std::vector<DiagnosticRecord>& records) {
    return std::any_of(records.begin(), records.end(), [](const DiagnosticRecord& record) {
        return IsAnswerLost(record);
    });
}

DataError ConnectError(const std::vector<DiagnosticRecord>& records, const std::string& source) {
    if (records.empty()) {
        return WithoutWords(source);
    }
    std::vector<std::string_view> told;
    for (const auto& record : records) {
        // The record of FreeTDS that says nothing stands last, behind the one with the reason.
        const bool empty = record.text.ends_with("Unable to connect to data source");
        if (!empty && std::find(told.begin(), told.end(), record.text) == told.end()) {
            told.emplace_back(record.text);
        }
    }
    std::string description;
    for (const auto text : told) {
        description.append(description.empty() ? "" : "\n").append(text);
    }
    if (description.empty()) {
        description = records.front().text;
    }
    return {kErrUnspecified, std::move(description), source};
}

// One record: what a driver gives behind its first error is what came of it.
DataError StatementError(const std::vector<DiagnosticRecord>& records, const std::string& source) {
    if (records.empty()) {
        return WithoutWords(source);
    }
    const auto& record = FirstError(records);
    DataError error(NumberFor(record), record.text, source);
    if (IsAnswerLost(record)) {
        error.SetArrivedRows(std::nullopt);
    }
    return error;
}

// Text or bytes cut off, and digits. Drivers that keep an error's class for a remark are heard,
// too.
Loss LossIn(const DiagnosticRecord& record) {
    if (record.state == "01S07") {
        return Loss::Digits;
    }
    return record.state == "01004" || record.state.starts_with("22") ? Loss::Value : Loss::None;
}

DataError ValuesChanged(const std::string& remark, std::int64_t rows, const std::string& source) {
    DataError error(kErrConversion,
                    "The rows were taken, but values in them have been changed: " + remark,
                    source);
    error.SetArrivedRows(rows < 0 ? std::nullopt : std::optional(rows));
    return error;
}

DataError NoAnswer(std::chrono::seconds limit, const std::string& source) {
    DataError error(kErrUnspecified,
                    "The server has not answered within " + std::to_string(limit.count()) +
                        " seconds, and the connection was closed. If it needs longer, add "
                        "ANSWER_TIMEOUT=<seconds> to the connection string.",
                    source);
    error.SetArrivedRows(std::nullopt);
    return error;
}

DataError LoginTooLong(std::chrono::seconds limit, const std::string& source) {
    return {kErrUnspecified,
            "The server let nobody in within " + std::to_string(limit.count()) +
                " seconds, and the connection was closed.",
            source};
}

DataError CancelledWait(const std::string& source) {
    DataError error(kErrUnspecified,
                    "The server did not answer after the cancel, and the connection was closed.",
                    source);
    error.SetArrivedRows(std::nullopt);
    return error;
}

DataError CancelledLogin(const std::string& source) {
    return {kErrCancelled, CancelledWait(source).Description(), source};
}

DataError NoDriverManager() {
    return {kErrUnspecified,
            "The ODBC driver manager gives no environment: is there memory left?",
            kSource};
}

DataError NoDriverOfKind(std::string_view role, std::string_view advice) {
    return {kErrUnspecified,
            "No ODBC driver for " + std::string(role) + " is installed. " + std::string(advice) +
                ". Nothing else is missing.",
            kSource};
}

DataError NoDriverNamed() {
    return {kErrUnspecified,
            "No ODBC driver is chosen. If there is none to choose, install one: for SQL Server the "
            "Debian package tdsodbc, for Oracle the Instant Client with its ODBC package (from "
            "Oracle), registered in odbcinst.ini.",
            kSource};
}

DataError NoSourceNamed() {
    return {kErrUnspecified,
            "No data source is chosen. If there is none to choose, describe one in odbc.ini, or in "
            ".odbc.ini of your home folder.",
            kSource};
}

// A library that a string names would run with the rights of the one who opens the session.
DataError UnregisteredLibrary(const std::string& library) {
    return {kErrUnspecified,
            "The connection string names the driver " + Shown(library) +
                ", which odbcinst.ini doesn't know: a string may load registered drivers only. "
                "Register it there (odbcinst -i -d), and choose it by its name.",
            kSource};
}

DataError RefusedKey(std::string_view key) {
    return {kErrUnspecified,
            "The connection string has the key " + std::string(key) +
                ", by which a file of its choice would be loaded or written: take the key away, or "
                "put it into the data source's section of odbc.ini and connect by DSN.",
            kSource};
}

DataError BadTimeLimit(std::string_view key, const std::string& value) {
    return {kErrUnspecified,
            "The connection string says " + std::string(key) + "=" + Shown(value) +
                ": it takes a number of seconds, a day at most.",
            kSource};
}

DataError WrongParameterCount(std::size_t wanted, std::size_t given, const std::string& source) {
    return {kErrMissingParameter,
            "The statement has " + std::to_string(wanted) + " parameters and was given " +
                std::to_string(given) + ".",
            source};
}

DataError StatementTooLong(std::size_t bytes, double most, const std::string& source) {
    return {kErrUnspecified,
            "Got a packet bigger than 'max_allowed_packet' bytes: the statement has " +
                std::to_string(bytes) + " bytes, and the server takes " +
                std::to_string(static_cast<std::uint64_t>(most)) +
                ". Raise max_allowed_packet on the server.",
            source};
}

DataError NotARowStatement(const std::string& source) {
    return {kErrInvalidArgument, "The statement gives no rows to read.", source};
}

DataError NotAPlainSelect(std::string_view sql, const std::string& source) {
    return {kErrInvalidArgument,
            "Rows can't be added: \"" + std::string(sql) +
                "\" isn't a SELECT of plain columns of one table.",
            source};
}

// Rather than a shorter value that passes for the whole one.
DataError ValueCutOff(const std::string& column, const std::string& source) {
    return {kErrConversion,
            "The driver cut off a value of column " + column +
                ": it is longer than the column's described size. Read the column by a query that "
                "converts it to long text.",
            source};
}

DataError ImpossibleLength(const std::string& column, long long length, const std::string& source) {
    return {kErrConversion,
            "The driver gave a value of column " + column + " the impossible length " +
                std::to_string(length) + ": the value can't be read.",
            source};
}

DataError OutOfMemory(const std::string& what, const std::string& source) {
    return {kErrUnspecified, "There is not enough memory for " + what + ".", source};
}

}  // namespace vantry::odbc
