// A server that is strict refuses a value that doesn't fit; what it still changes, it only remarks.
// The remarks are read after each statement that reports some. Notes (digits cut off at the end of
// a number) are told once for each column, as a column of fewer decimals would else fill the log
// and end the table.

#include "drivers/mysql/warnings.h"

#include "data/value_text.h"
#include "drivers/mysql/errors.h"
#include "drivers/mysql/session.h"

#include <mysqld_error.h>

#include <algorithm>
#include <string_view>

namespace vantry::mysql {
namespace {

// Those that say that a value was changed. Others are about the statement, its logging, old words.
constexpr unsigned kChanges[] = {ER_WARN_NULL_TO_NOTNULL,
                                 ER_WARN_DATA_OUT_OF_RANGE,
                                 WARN_DATA_TRUNCATED,
                                 ER_BAD_NULL_ERROR,
                                 ER_TRUNCATED_WRONG_VALUE,
                                 ER_INVALID_CHARACTER_STRING,
                                 ER_NO_DEFAULT_FOR_FIELD,
                                 ER_TRUNCATED_WRONG_VALUE_FOR_FIELD,
                                 ER_DATA_TOO_LONG,
                                 ER_WRONG_VALUE_FOR_TYPE};

struct Remark {
    bool is_note = false;
    unsigned code = 0;
    std::string text;
};

std::vector<Remark> ReadRemarks(Session& session) {
    session.Send("show warnings");
    const std::unique_ptr<MYSQL_RES, void (*)(MYSQL_RES*)> result(
        mysql_store_result(session.Busy()), mysql_free_result);
    constexpr unsigned kColumns = 3;  // level, code, text
    std::vector<Remark> remarks;
    if (!result || mysql_num_fields(result.get()) != kColumns) {
        return remarks;
    }
    while (const MYSQL_ROW row = mysql_fetch_row(result.get())) {
        if (row[0] != nullptr && row[1] != nullptr && row[2] != nullptr) {
            remarks.push_back({std::string_view(row[0]) == "Note",
                               static_cast<unsigned>(ParseInt64(row[1]).value_or(0)),
                               CleanWords(row[2], session.Busy())});
        }
    }
    return remarks;
}

// "Data truncated for column 'a' at row 7": the column's part.
std::string WithoutRow(const std::string& text) {
    return text.substr(0, text.rfind(" at row "));
}

}  // namespace

void Warnings::RequireUnchanged(Session& session, std::int64_t rows) {
    std::string first;
    int more = 0;
    std::vector<Remark> remarks;
    try {
        remarks = ReadRemarks(session);
    } catch (const DataError& error) {  // lost or stopped: the statement had gone well before
        DataError arrived = error;
        arrived.SetArrivedRows(rows);
        throw DataError(arrived);
    }
    // Once: where a proxy answers in the server's place, it would else end the table.
    if (remarks.empty() && told_.insert(std::string()).second) {
        throw RemarksNotListed(rows);
    }
    for (const auto& remark : remarks) {
        const bool changes =
            std::find(std::begin(kChanges), std::end(kChanges), remark.code) != std::end(kChanges);
        if (!changes || (remark.is_note && !told_.insert(WithoutRow(remark.text)).second)) {
            continue;
        }
        if (first.empty()) {
            first = remark.text;
        } else {
            ++more;
        }
    }
    if (!first.empty()) {
        throw ValuesChanged(first + (more > 0 ? " (and " + std::to_string(more) + " more)" : ""),
                            rows);
    }
}

}  // namespace vantry::mysql
