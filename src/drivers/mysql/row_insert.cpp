#include "drivers/mysql/row_insert.h"

#include "data/value_text.h"
#include "drivers/mysql/errors.h"

#include <errmsg.h>
#include <mysqld_error.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace vantry::mysql {
namespace {

// The values of the first row; none when there is no row, a null in it, or the statement fails.
std::vector<std::string> Ask(Session& session, std::string_view sql) {
    try {
        session.Send(sql);
    } catch (const DataError&) {
        return {};  // the server doesn't know such a question
    }
    const std::unique_ptr<MYSQL_RES, void (*)(MYSQL_RES*)> result(
        mysql_store_result(session.Busy()), mysql_free_result);
    const MYSQL_ROW row = result ? mysql_fetch_row(result.get()) : nullptr;
    std::vector<std::string> values;
    for (unsigned k = 0; row != nullptr && k < mysql_num_fields(result.get()); ++k) {
        if (row[k] == nullptr) {
            return {};
        }
        values.emplace_back(row[k]);
    }
    return values;
}

std::string Literal(std::string_view text) {
    std::string literal = "'";
    for (const char c : text) {
        literal += c;
        if (c == '\'') {
            literal += c;
        }
    }
    return literal + "'";
}

// Whether the server takes a failed statement on the table back as a whole. Nothing for what is no
// table of its own (a view, a table of another database).
std::optional<bool> HasTransactions(Session& session, std::string_view table) {
    const std::string sql =
        "select e.transactions from information_schema.tables t join information_schema.engines e "
        "on e.engine=t.engine where t.table_schema=database() and t.table_name=" +
        Literal(table);
    // The name stands as it is in the statement that failed.
    session.ReadBackslashesAs(Backslash::Data, sql);
    const auto answer = Ask(session, sql);
    return answer.empty() ? std::nullopt : std::optional<bool>(answer[0] == "YES");
}

// Which row of the statement was refused, counted from 1. Servers of MariaDB tell it from version
// 10.7 on; 0 or nothing when it wasn't one row's fault. The error is the first of the conditions or
// stands behind remarks on the rows before, of which there may be too many for it to be listed.
std::optional<std::int64_t> RefusedRow(Session& session, const DataError& error) {
    try {
        session.Send("get diagnostics @vantry_last = number");
        session.Send(
            "get diagnostics condition 1 @vantry_a = message_text, @vantry_b = row_number");
        session.Send(
            "get diagnostics condition @vantry_last @vantry_c = message_text, @vantry_d = "
            "row_number");
    } catch (const DataError&) {
        return std::nullopt;
    }
    const auto told = Ask(session, "select @vantry_a, @vantry_b, @vantry_c, @vantry_d");
    for (std::size_t k = 0; k + 1 < told.size(); k += 2) {
        if (CleanWords(told[k].c_str(), session.Busy()) == error.Description()) {
            return ParseInt64(told[k + 1]);
        }
    }
    return std::nullopt;
}

// What the server refused before it looked at the first row.
bool IsRefusedAsAWhole(int number) {
    return number == kErrSyntax || number == kErrNoSuchTable || number == kErrMissingParameter;
}

std::optional<std::int64_t> RowsInSpiteOf(Session& session,
                                          const DataError& error,
                                          const std::string& table) {
    if (!error.ArrivedRows() || IsRefusedAsAWhole(error.Number())) {
        return error.ArrivedRows();
    }
    const bool was_stopped = mysql_errno(session.Busy()) == ER_QUERY_INTERRUPTED;
    const auto refused =
        RefusedRow(session, error);  // first: any other statement makes it forgotten
    const auto transactions = HasTransactions(session, table);
    if (!transactions || *transactions) {
        return transactions ? std::optional<std::int64_t>(0) : std::nullopt;
    }
    if (refused && *refused > 0 && !was_stopped) {
        return *refused - 1;
    }
    return std::nullopt;
}

}  // namespace

std::string TargetOfInsert(std::string_view sql) {
    constexpr std::string_view kHead = "INSERT INTO `";
    if (!sql.starts_with(kHead)) {
        return {};
    }
    sql.remove_prefix(kHead.size());
    const auto end = sql.find('`');
    return end == std::string_view::npos ? std::string() : std::string(sql.substr(0, end));
}

RowInsert::RowInsert(Session& session, std::string table, std::string_view sql)
    : session_(session),
      table_(std::move(table)),
      has_rows_(sql.find(" VALUES ") != std::string_view::npos) {
    const AnswerWatch::Wait wait(session_.Watch());
    if (mysql_send_query(session_.Busy(), sql.data(), sql.size()) != 0) {
        Refuse();
    }
}

std::int64_t RowInsert::Finish() {
    MYSQL* handle = session_.Busy();
    const AnswerWatch::Wait wait(session_.Watch());
    if (mysql_read_query_result(handle) != 0) {
        Refuse();
    }
    const auto affected = static_cast<std::int64_t>(mysql_affected_rows(handle));
    const auto warnings = mysql_warning_count(handle);
    DropFurtherResults(session_);
    // A server that says of rows that it has taken none of them isn't believed to have.
    if (affected <= 0 && has_rows_) {
        throw NothingAdded();
    }
    if (warnings > 0) {
        session_.GetWarnings().RequireUnchanged(session_, affected);
    }
    return affected;
}

void RowInsert::Refuse() {
    auto error = session_.Failure();
    const unsigned code = mysql_errno(session_.Busy());
    const bool is_servers = code < CR_MIN_ERROR || (code > CR_MAX_ERROR && code < CER_MIN_ERROR);
    if (is_servers && session_.Watch().Ended() == AnswerWatch::End::None) {
        error.SetArrivedRows(RowsInSpiteOf(session_, error, table_));
    }
    throw DataError(error);
}

}  // namespace vantry::mysql
